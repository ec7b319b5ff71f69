// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/testcase.h"

#include <QAction>
#include <QLabel>
#include <QMenu>

namespace {

const QString PortA = QStringLiteral("ttyMENU1");
const QString PortB = QStringLiteral("ttyMENU2");

} // namespace

/// What the choice of a menu entry changes for the next upload and for the next rebuild of the menu, with the
/// key port_follows_menu and without.
class PortFollowsMenuTest : public TestCase
{
    Q_OBJECT

private slots:
    void aPickCounts_data();
    void aPickCounts();
    void aRebuildKeeps_data();
    void aRebuildKeeps();
    void theAdapterIsKeptToo();
    void aPickedPortComesBack();
    void whatStandsInIsNotStored_data();
    void whatStandsInIsNotStored();
    void aShorterNameIsKept_data();
    void aShorterNameIsKept();
    void theFileHoldsNothingMore();

private:
    static void follow(const WindowBench &bench, const QString &value = QStringLiteral("true"));
    static QString plugIn(WindowBench &bench, const QString &name);
    static void pick(const WindowBench &bench, const QString &name);
    static QStringList checked(const WindowBench &bench);
    static void addValues(const char *ifOff, const char *ifOn);
};

void PortFollowsMenuTest::follow(const WindowBench &bench, const QString &value)
{
    if (!value.isNull())
        bench.settings.setValue(QStringLiteral("options/port_follows_menu"), value);
}

QString PortFollowsMenuTest::plugIn(WindowBench &bench, const QString &name)
{
    return bench.devices.addSerialPort(name, QStringLiteral("Converter"), 0x0403);
}

void PortFollowsMenuTest::pick(const WindowBench &bench, const QString &name)
{
    for (QAction *const action : bench.widget<QMenu>("menuActions")->actions()) {
        if (action->text() == name) {
            action->trigger();
            return;
        }
    }
    QTest::qFail("no such entry", __FILE__, __LINE__);
}

QStringList PortFollowsMenuTest::checked(const WindowBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions()) {
        if (action->isChecked())
            texts += action->text();
    }
    return texts;
}

/// Rows of the option's value, null for none, and what comes of it.
void PortFollowsMenuTest::addValues(const char *ifOff, const char *ifOn)
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("missing") << QString() << QString::fromLatin1(ifOff);
    QTest::newRow("true") << QStringLiteral("true") << QString::fromLatin1(ifOn);
    QTest::newRow("false") << QStringLiteral("false") << QString::fromLatin1(ifOff);
    QTest::newRow("refused") << QStringLiteral("1") << QString::fromLatin1(ifOff);
}

void PortFollowsMenuTest::aPickCounts_data()
{
    addValues("ttyMENU1", "ttyMENU2");
}

void PortFollowsMenuTest::aPickCounts()
{
    QFETCH(const QString, value);
    QFETCH(const QString, expected);
    WindowBench bench;
    follow(bench, value);
    plugIn(bench, PortA);
    plugIn(bench, PortB);
    bench.start(PortA, {});
    pick(bench, PortB);
    QCOMPARE(bench.probe().portName(), expected);
    QCOMPARE(bench.widget<QLabel>("labelDevName")->text(), QStringLiteral("Connection via ") + PortB);
}

void PortFollowsMenuTest::aRebuildKeeps_data()
{
    addValues("ttyMENU1", "ttyMENU2");
}

void PortFollowsMenuTest::aRebuildKeeps()
{
    QFETCH(const QString, value);
    QFETCH(const QString, expected);
    WindowBench bench;
    follow(bench, value);
    plugIn(bench, PortA);
    plugIn(bench, PortB);
    bench.start(PortA, {});
    pick(bench, PortB);
    bench.probe().updateConnections();
    QCOMPARE(checked(bench), QStringList(expected));
    QCOMPARE(bench.probe().portName(), expected);
    QCOMPARE(bench.probe().deviceName(), expected);
}

void PortFollowsMenuTest::theAdapterIsKeptToo()
{
    const SimulatedAdapter adapter;
    WindowBench bench(adapter);
    follow(bench);
    plugIn(bench, PortA);
    bench.start(PortA, {});
    pick(bench, ModbusText);
    QCOMPARE(bench.probe().portName(), PortA);
    bench.probe().updateConnections();
    QCOMPARE(checked(bench), QStringList(ModbusText));
    QCOMPARE(bench.probe().portName(), PortA);
    QCOMPARE(bench.probe().connectionType(), int{ConnectionModbusSub20});
}

void PortFollowsMenuTest::aPickedPortComesBack()
{
    WindowBench bench;
    follow(bench);
    plugIn(bench, PortA);
    const QString id = plugIn(bench, PortB);
    bench.start(PortA, {});
    pick(bench, PortB);
    bench.devices.remove(id);
    bench.probe().updateConnections();
    QCOMPARE(bench.probe().portName(), PortA);
    plugIn(bench, PortB);
    bench.probe().updateConnections();
    QCOMPARE(bench.probe().portName(), PortB);
    QCOMPARE(checked(bench), QStringList(PortB));
}

void PortFollowsMenuTest::whatStandsInIsNotStored_data()
{
    QTest::addColumn<QString>("other");
    QTest::newRow("another name") << PortA;
    QTest::newRow("a longer name") << PortB + QStringLiteral("0");
}

/// Also over an end of the program: what the user picked is picked again when it is back.
void PortFollowsMenuTest::whatStandsInIsNotStored()
{
    QFETCH(const QString, other);
    WindowBench bench;
    follow(bench);
    plugIn(bench, other);
    const QString id = plugIn(bench, PortB);
    bench.start(other, {});
    pick(bench, PortB);
    bench.devices.remove(id);
    const auto verifyStandIn = [&] {
        QCOMPARE(checked(bench), QStringList(other));
        QCOMPARE(bench.probe().portName(), other);
        QCOMPARE(bench.settings.value(QStringLiteral("settings/deviceName")).toString(), PortB);
        QCOMPARE(bench.settings.value(QStringLiteral("settings/port")).toString(), PortB);
        QCOMPARE(bench.settings.value(QStringLiteral("settings/connection_type")).toInt(), 3);
    };
    bench.probe().updateConnections();
    verifyStandIn();
    bench.start();
    verifyStandIn();
    plugIn(bench, PortB);
    bench.probe().updateConnections();
    QCOMPARE(checked(bench), QStringList(PortB));
    QCOMPARE(bench.probe().portName(), PortB);
}

void PortFollowsMenuTest::aShorterNameIsKept_data()
{
    addValues("COM10", "COM1");
}

// The stored name is looked for within the entries' names; a longer one may stand first.
void PortFollowsMenuTest::aShorterNameIsKept()
{
    QFETCH(const QString, value);
    WindowBench bench;
    follow(bench, value);
    bench.start();
    for (const char *const name : {"COM10", "COM1"})
        bench.probe().addConnectionAction(QString::fromLatin1(name), ConnectionComPort, 0);
    bench.probe().setDeviceName(QStringLiteral("COM1"));
    bench.probe().selectStoredConnection();
    QTEST(bench.probe().portName(), "expected");
    QCOMPARE(checked(bench), QStringList(bench.probe().portName()));
}

void PortFollowsMenuTest::theFileHoldsNothingMore()
{
    WindowBench bench;
    follow(bench);
    plugIn(bench, PortA);
    bench.start();
    pick(bench, PortA);
    bench.close();
    QStringList keys = bench.settings.keys();
    keys.sort();
    QCOMPARE(keys,
             QStringList({QStringLiteral("options/port_follows_menu"), QStringLiteral("settings/address"),
                          QStringLiteral("settings/connection_type"), QStringLiteral("settings/deviceName"),
                          QStringLiteral("settings/port")}));
}

QTEST_MAIN(PortFollowsMenuTest)
#include "tst_portfollowsmenu.moc"
