// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/testcase.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSpinBox>

namespace {

const QString Green = QStringLiteral("color: green; font-size: 10");
const QString Red = QStringLiteral("color: red; font-size: 10");

/// A menu entry: its text and its connection type.
struct Entry
{
    QString text;
    int type;
};

} // namespace

using Entries = QList<Entry>;
Q_DECLARE_METATYPE(Entries)

/// The entries of the connection menu: what choosing one changes, and which one a rebuild chooses.
class ConnectionMenuTest : public TestCase
{
    Q_OBJECT

private slots:
    void anEntryCarriesItsTypeAndVendor();
    void anEntryShowsItsIcon();
    void anEntryWithoutIconFileHasNone();

    void choosing_data();
    void choosing();
    void choosingStoresBothNamesAtOnce_data();
    void choosingStoresBothNamesAtOnce();
    void choosingTheActiveEntryKeepsItChecked();
    void choosingLeavesTheRestOfTheWindowAlone();
    void anEntryWithoutTypeIsNoConnection();
    void aPortNamedInfraRedHasNoAddress();

    void selecting_data();
    void selecting();
    void selectingInAnEmptyMenuChangesNothing();
    void selectingChecksExactlyOneEntry();
    void theFallbackOverwritesTheStoredName();
    void aPickedPortIsUsedAfterTheNextStart();
    void aRebuildGoesBackToTheNameOfTheStart();
    void aStoredPortNameSurvivesAnAdapterConnection();

private:
    static QList<QAction *> fill(const WindowBench &bench, const Entries &entries);
    static QList<QAction *> fillUsual(const WindowBench &bench);
    static QStringList checkedEntries(const WindowBench &bench);
    static void compareLabel(const WindowBench &bench, const QString &text, const QString &styleSheet);
};

QList<QAction *> ConnectionMenuTest::fill(const WindowBench &bench, const Entries &entries)
{
    for (const Entry &entry : entries)
        bench.probe().addConnectionAction(entry.text, entry.type, 0x0403);
    return bench.widget<QMenu>("menuActions")->actions();
}

QList<QAction *> ConnectionMenuTest::fillUsual(const WindowBench &bench)
{
    return fill(bench, {{InfraRedText, ConnectionInfraRed},
                        {ModbusText, ConnectionModbusSub20},
                        {QStringLiteral("COM3"), ConnectionComPort}});
}

QStringList ConnectionMenuTest::checkedEntries(const WindowBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions()) {
        if (action->isChecked())
            texts += action->text();
    }
    return texts;
}

void ConnectionMenuTest::compareLabel(const WindowBench &bench, const QString &text,
                                      const QString &styleSheet)
{
    QCOMPARE(bench.widget<QLabel>("labelDevName")->text(), text);
    QCOMPARE(bench.widget<QLabel>("labelDevName")->styleSheet(), styleSheet);
}

void ConnectionMenuTest::anEntryCarriesItsTypeAndVendor()
{
    WindowBench bench;
    bench.start();
    bench.probe().addConnectionAction(QStringLiteral("COM3"), ConnectionComPort, 0xFFFF);
    const QAction *const action = bench.widget<QMenu>("menuActions")->actions().constLast();
    QCOMPARE(action->text(), QStringLiteral("COM3"));
    QCOMPARE(action->parent(), &bench.window());
    QVERIFY(action->isCheckable());
    QVERIFY(!action->isChecked());
    QCOMPARE(action->property("type"), QVariant(3));
    QCOMPARE(action->property("vid"), QVariant(0xFFFF));
}

void ConnectionMenuTest::anEntryShowsItsIcon()
{
    WindowBench bench;
    bench.start();
    const QAction *const action = fillUsual(bench).constLast();
    QVERIFY(action->isIconVisibleInMenu());
    const QPixmap expected(QStringLiteral(":/pictures/data_cable.png"));
    QVERIFY(!expected.isNull());
    QCOMPARE(action->icon().pixmap(expected.size()).toImage(), expected.toImage());
}

void ConnectionMenuTest::anEntryWithoutIconFileHasNone()
{
    WindowBench bench;
    bench.start();
    bench.probe().addConnectionAction(QStringLiteral("COM3"), ConnectionComPort, 0,
                                      QStringLiteral(":/pictures/none.png"));
    QVERIFY(bench.widget<QMenu>("menuActions")->actions().constLast()->icon().isNull());
}

void ConnectionMenuTest::choosing_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("hasAddress");
    QTest::newRow("infrared") << 0 << 1 << InfraRedText << false;
    QTest::newRow("Modbus through the adapter") << 1 << 2 << ModbusText << true;
    QTest::newRow("serial port") << 2 << 3 << QStringLiteral("COM3") << true;
}

void ConnectionMenuTest::choosing()
{
    QFETCH(const int, index);
    QFETCH(const QString, text);
    QFETCH(const bool, hasAddress);
    WindowBench bench;
    bench.start();
    const QList<QAction *> actions = fillUsual(bench);
    // From each of the others, so that every change of the address controls is seen.
    for (QAction *const before : actions) {
        before->trigger();
        actions[index]->trigger();
        QTEST(bench.probe().connectionType(), "type");
        QCOMPARE(checkedEntries(bench), QStringList({text}));
        QCOMPARE(bench.widget<QSpinBox>("spinBoxAdress")->isEnabled(), hasAddress);
        QCOMPARE(bench.widget<QLabel>("labelAdress")->isEnabled(), hasAddress);
        compareLabel(bench, QStringLiteral("Connection via ") + text, Green);
    }
}

void ConnectionMenuTest::choosingStoresBothNamesAtOnce_data()
{
    choosing_data();
}

void ConnectionMenuTest::choosingStoresBothNamesAtOnce()
{
    QFETCH(const int, index);
    QFETCH(const QString, text);
    WindowBench bench;
    bench.start();
    fillUsual(bench).at(index)->trigger();
    QTEST(bench.settings.value(QStringLiteral("settings/connection_type")).toInt(), "type");
    QCOMPARE(bench.settings.value(QStringLiteral("settings/port")), QVariant(text));
    QCOMPARE(bench.settings.value(QStringLiteral("settings/deviceName")), QVariant(text));
    QCOMPARE(bench.settings.keys().size(), 4); // and the address
}

void ConnectionMenuTest::choosingTheActiveEntryKeepsItChecked()
{
    WindowBench bench;
    bench.start();
    QAction *const action = fillUsual(bench).at(1);
    action->trigger();
    action->trigger();
    QCOMPARE(checkedEntries(bench), QStringList({ModbusText}));
    QCOMPARE(bench.probe().connectionType(), int{ConnectionModbusSub20});
}

void ConnectionMenuTest::choosingLeavesTheRestOfTheWindowAlone()
{
    WindowBench bench;
    bench.start();
    bench.probe().setPortName(QStringLiteral("COM1"));
    bench.probe().setDeviceName(QStringLiteral("COM2"));
    const QList<QAction *> actions = fillUsual(bench);
    for (const bool enabled : {true, false}) {
        bench.widget<QPushButton>("updBtn")->setEnabled(enabled);
        for (QAction *const action : actions) {
            action->trigger();
            QCOMPARE(bench.probe().portName(), QStringLiteral("COM1"));
            QCOMPARE(bench.probe().deviceName(), QStringLiteral("COM2"));
            QCOMPARE(bench.widget<QPushButton>("updBtn")->isEnabled(), enabled);
        }
    }
}

void ConnectionMenuTest::anEntryWithoutTypeIsNoConnection()
{
    WindowBench bench;
    bench.start();
    fillUsual(bench).at(1)->trigger();
    QMenu *const menu = bench.widget<QMenu>("menuActions");
    QAction *const action = menu->addAction(QStringLiteral("Something"));
    action->setCheckable(true);
    action->trigger();
    QCOMPARE(bench.probe().connectionType(), int{ConnectionNone});
    compareLabel(bench, QStringLiteral("No Connections"), Red);
    QVERIFY(!bench.widget<QSpinBox>("spinBoxAdress")->isEnabled());
    QVERIFY(!bench.widget<QLabel>("labelAdress")->isEnabled());
    QCOMPARE(checkedEntries(bench), QStringList({QStringLiteral("Something")}));
    QCOMPARE(bench.settings.value(QStringLiteral("settings/connection_type")).toInt(), 0);
    QCOMPARE(bench.settings.value(QStringLiteral("settings/port")).toString(), QStringLiteral("Something"));
}

void ConnectionMenuTest::aPortNamedInfraRedHasNoAddress()
{
    WindowBench bench;
    bench.start();
    const QList<QAction *> actions = fill(bench, {{QStringLiteral("ttyInfraRed"), ConnectionComPort},
                                                  {QStringLiteral("ttyinfrared"), ConnectionComPort}});
    actions[0]->trigger();
    QVERIFY(!bench.widget<QSpinBox>("spinBoxAdress")->isEnabled());
    QVERIFY(!bench.widget<QLabel>("labelAdress")->isEnabled());
    actions[1]->trigger();
    QVERIFY(bench.widget<QSpinBox>("spinBoxAdress")->isEnabled());
    QVERIFY(bench.widget<QLabel>("labelAdress")->isEnabled());
}

void ConnectionMenuTest::selecting_data()
{
    QTest::addColumn<QString>("storedName");
    QTest::addColumn<Entries>("entries");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QString>("portName"); // "before" stands for the one it had
    const QString com1 = QStringLiteral("COM1");
    const QString com10 = QStringLiteral("COM10");
    const QString before = QStringLiteral("before");
    const Entries adapter{{InfraRedText, ConnectionInfraRed}, {ModbusText, ConnectionModbusSub20}};
    const Entries ports{{com10, ConnectionComPort}, {com1, ConnectionComPort}};

    QTest::newRow("infrared") << InfraRedText << adapter + ports << InfraRedText << before;
    QTest::newRow("Modbus") << ModbusText << adapter + ports << ModbusText << before;
    QTest::newRow("both contain it, the first wins")
        << QStringLiteral("SUB-20") << adapter << InfraRedText << before;
    QTest::newRow("a longer name before it wins") << com1 << adapter + ports << com10 << com10;
    QTest::newRow("the whole name") << com10 << adapter + ports << com10 << com10;
    QTest::newRow("a part in the middle") << QStringLiteral("OM10") << adapter + ports << com10 << com10;
    QTest::newRow("another case does not match")
        << QStringLiteral("com1") << adapter + ports << InfraRedText << QString();
    QTest::newRow("port gone, adapter there")
        << QStringLiteral("COM7") << adapter + ports << InfraRedText << QString();
    QTest::newRow("adapter gone, ports there") << ModbusText << ports << com10 << com10;
    QTest::newRow("nothing stored, adapter there") << QString() << adapter + ports << InfraRedText << before;
    QTest::newRow("nothing stored, ports there") << QString() << ports << com10 << com10;
    QTest::newRow("a pattern is no pattern")
        << QStringLiteral("COM.*") << adapter + ports << InfraRedText << QString();
}

void ConnectionMenuTest::selecting()
{
    QFETCH(const QString, storedName);
    QFETCH(const Entries, entries);
    QFETCH(const QString, selected);
    WindowBench bench;
    bench.start();
    bench.probe().setDeviceName(storedName);
    bench.probe().setPortName(QStringLiteral("before"));
    fill(bench, entries);
    bench.probe().selectStoredConnection();
    QCOMPARE(checkedEntries(bench), QStringList({selected}));
    QTEST(bench.probe().portName(), "portName");
    QCOMPARE(bench.probe().deviceName(), storedName);
    QCOMPARE(bench.settings.value(QStringLiteral("settings/deviceName")).toString(), selected);
    compareLabel(bench, QStringLiteral("Connection via ") + selected, Green);
    QCOMPARE(bench.widget<QSpinBox>("spinBoxAdress")->isEnabled(), selected != InfraRedText);
    QCOMPARE(bench.widget<QLabel>("labelAdress")->isEnabled(), selected != InfraRedText);
}

void ConnectionMenuTest::selectingInAnEmptyMenuChangesNothing()
{
    WindowBench bench;
    bench.start();
    QVERIFY(bench.widget<QMenu>("menuActions")->actions().isEmpty());
    bench.probe().setConnectionType(ConnectionModbusSub20);
    bench.probe().setPortName(QStringLiteral("COM1"));
    bench.widget<QLabel>("labelDevName")->setText(QStringLiteral("as it was"));
    bench.probe().selectStoredConnection();
    QCOMPARE(bench.probe().connectionType(), int{ConnectionModbusSub20});
    QCOMPARE(bench.probe().portName(), QStringLiteral("COM1"));
    compareLabel(bench, QStringLiteral("as it was"), Red);
    QVERIFY(!bench.settings.keys().contains(QStringLiteral("settings/deviceName")));
}

void ConnectionMenuTest::selectingChecksExactlyOneEntry()
{
    WindowBench bench;
    bench.start();
    const QList<QAction *> actions = fillUsual(bench);
    for (QAction *const action : actions)
        action->setChecked(true);
    bench.probe().setDeviceName(QStringLiteral("COM3"));
    bench.probe().selectStoredConnection();
    QCOMPARE(checkedEntries(bench), QStringList({QStringLiteral("COM3")}));
}

void ConnectionMenuTest::theFallbackOverwritesTheStoredName()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("settings/deviceName"), QStringLiteral("COM7"));
    bench.settings.setValue(QStringLiteral("settings/port"), QStringLiteral("COM7"));
    bench.settings.setValue(QStringLiteral("settings/connection_type"), 3);
    bench.start();
    QCOMPARE(checkedEntries(bench), QStringList({InfraRedText}));
    QCOMPARE(bench.probe().portName(), QString());
    QCOMPARE(bench.settings.value(QStringLiteral("settings/deviceName")).toString(), InfraRedText);
    QCOMPARE(bench.settings.value(QStringLiteral("settings/port")).toString(), InfraRedText);
    QCOMPARE(bench.settings.value(QStringLiteral("settings/connection_type")).toInt(), 1);
}

void ConnectionMenuTest::aPickedPortIsUsedAfterTheNextStart()
{
    WindowBench bench;
    bench.devices.addSerialPort(QStringLiteral("ttyUSB0"), QStringLiteral("Converter"), 0x0403);
    bench.devices.addSerialPort(QStringLiteral("ttyUSB1"), QStringLiteral("Converter"), 0x0403);
    bench.start();
    QCOMPARE(bench.probe().portName(), QStringLiteral("ttyUSB0"));
    bench.widget<QMenu>("menuActions")->actions().at(1)->trigger();
    QCOMPARE(bench.settings.value(QStringLiteral("settings/port")).toString(), QStringLiteral("ttyUSB1"));
    QCOMPARE(bench.probe().portName(), QStringLiteral("ttyUSB0"));
    bench.start();
    QCOMPARE(bench.probe().portName(), QStringLiteral("ttyUSB1"));
    QCOMPARE(checkedEntries(bench), QStringList({QStringLiteral("ttyUSB1")}));
}

/// The name by which a rebuild finds its entry is the one that was stored when the program started.
void ConnectionMenuTest::aRebuildGoesBackToTheNameOfTheStart()
{
    WindowBench bench;
    bench.settings.setValue(QStringLiteral("settings/deviceName"), QStringLiteral("ttyUSB0"));
    bench.devices.addSerialPort(QStringLiteral("ttyUSB0"), QStringLiteral("Converter"), 0x0403);
    bench.devices.addSerialPort(QStringLiteral("ttyUSB1"), QStringLiteral("Converter"), 0x0403);
    bench.start();
    bench.widget<QMenu>("menuActions")->actions().at(1)->trigger();
    QCOMPARE(checkedEntries(bench), QStringList({QStringLiteral("ttyUSB1")}));
    bench.probe().updateConnections();
    QCOMPARE(bench.probe().portName(), QStringLiteral("ttyUSB0"));
    QCOMPARE(checkedEntries(bench), QStringList({QStringLiteral("ttyUSB0")}));
    QCOMPARE(bench.settings.value(QStringLiteral("settings/port")).toString(), QStringLiteral("ttyUSB0"));
}

void ConnectionMenuTest::aStoredPortNameSurvivesAnAdapterConnection()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("settings/deviceName"), ModbusText);
    bench.settings.setValue(QStringLiteral("settings/port"), QStringLiteral("COM7"));
    bench.start();
    QCOMPARE(checkedEntries(bench), QStringList({ModbusText}));
    QCOMPARE(bench.probe().portName(), QStringLiteral("COM7"));
}

QTEST_MAIN(ConnectionMenuTest)
#include "tst_connectionmenu.moc"
