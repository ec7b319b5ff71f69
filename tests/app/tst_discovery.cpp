// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/testcase.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QPushButton>

namespace {

constexpr quint16 ConverterVendorId = 0x0403;
const QString Port0 = QStringLiteral("ttyUSB0");
const QString Port1 = QStringLiteral("ttyUSB1");
const QString Port2 = QStringLiteral("ttyUSB2");
const QString Converter = QStringLiteral("USB Serial Converter");

} // namespace

/// What the menu holds and which entry is chosen, whatever adapters and serial ports there are.
class DiscoveryTest : public TestCase
{
    Q_OBJECT

private slots:
    void nothingFound();
    void nothingFoundKeepsTheConnection();
    void anAdapterGivesTwoEntries();
    void twoAdaptersGiveTwoEntries();
    void theAdapterIsOnlyLookedFor();
    void portsFollowInTheSystemsOrder();
    void portFilter_data();
    void portFilter();
    void aBuiltInPortHasNoVendor();

    void theAdapterComesAndGoes();
    void anUnpluggedPortGivesWayToTheAdapter();
    void aPortThatComesBackIsSelectedAgain();
    void entriesDoNotPileUp();
    void entriesOfTheFormAreGone();
    void theButtonIsLeftAlone();
    void aRunningUpdateKeepsItsConnection();

private:
    static QStringList entries(const WindowBench &bench);
    static QList<int> properties(const WindowBench &bench, const char *name);
    static QString checkedEntry(const WindowBench &bench);
    static void verifyNothingFound(const WindowBench &bench);
};

QStringList DiscoveryTest::entries(const WindowBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions())
        texts += action->text();
    return texts;
}

QList<int> DiscoveryTest::properties(const WindowBench &bench, const char *name)
{
    QList<int> values;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions())
        values += action->property(name).toInt();
    return values;
}

QString DiscoveryTest::checkedEntry(const WindowBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions()) {
        if (action->isChecked())
            texts += action->text();
    }
    return texts.join(u'+');
}

void DiscoveryTest::verifyNothingFound(const WindowBench &bench)
{
    QCOMPARE(entries(bench), QStringList());
    QVERIFY(!bench.widget<QMenu>("menuActions")->isEnabled());
    const auto *const label = bench.widget<QLabel>("labelDevName");
    QCOMPARE(label->text(), QStringLiteral("No Available Connections"));
    QCOMPARE(label->styleSheet(), QStringLiteral("color: red; font-size: 10"));
    QCOMPARE(bench.probe().portName(), QString());
}

void DiscoveryTest::nothingFound()
{
    SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("settings/port"), Port0);
    bench.start();
    verifyNothingFound(bench);
}

void DiscoveryTest::nothingFoundKeepsTheConnection()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("settings/deviceName"), ModbusText);
    bench.start();
    adapter.setAdapters(0);
    bench.probe().updateConnections();
    verifyNothingFound(bench);
    QCOMPARE(bench.probe().connectionType(), int{ConnectionModbusSub20});
    QCOMPARE(bench.probe().deviceName(), ModbusText);
    QCOMPARE(bench.settings.value(QStringLiteral("settings/connection_type")).toInt(), 2);
    QCOMPARE(bench.settings.value(QStringLiteral("settings/port")).toString(), ModbusText);
    QCOMPARE(bench.settings.value(QStringLiteral("settings/deviceName")).toString(), ModbusText);
}

void DiscoveryTest::anAdapterGivesTwoEntries()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start();
    QCOMPARE(entries(bench), QStringList({InfraRedText, ModbusText}));
    QCOMPARE(properties(bench, "type"), QList<int>({1, 2}));
    QCOMPARE(properties(bench, "vid"), QList<int>({1240, 1240}));
    QVERIFY(bench.widget<QMenu>("menuActions")->isEnabled());
    QCOMPARE(checkedEntry(bench), InfraRedText);

    const QList<QAction *> actions = bench.widget<QMenu>("menuActions")->actions();
    const QPixmap infrared(QStringLiteral(":/pictures/infrared.png"));
    QCOMPARE(actions[0]->icon().pixmap(infrared.size()).toImage(), infrared.toImage());
    const QPixmap cable(QStringLiteral(":/pictures/data_cable.png"));
    QCOMPARE(actions[1]->icon().pixmap(cable.size()).toImage(), cable.toImage());
    QVERIFY(infrared.toImage() != cable.toImage());
}

void DiscoveryTest::twoAdaptersGiveTwoEntries()
{
    SimulatedAdapter adapter(2);
    WindowBench bench(adapter);
    bench.start();
    QCOMPARE(entries(bench), QStringList({InfraRedText, ModbusText}));
}

void DiscoveryTest::theAdapterIsOnlyLookedFor()
{
    SimulatedAdapter adapter(2);
    WindowBench bench(adapter);
    bench.start();
    QCOMPARE(adapter.log(), QStringList({QStringLiteral("sub_find_devices null = d1")}));
    bench.probe().updateConnections();
    QCOMPARE(adapter.log().size(), 2);
    QCOMPARE(bench.probe().sub20Handle(), nullptr);
}

void DiscoveryTest::portsFollowInTheSystemsOrder()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.devices.addSerialPort(Port1, Converter, 0x067B);
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.start();
    QCOMPARE(entries(bench), QStringList({InfraRedText, ModbusText, Port1, Port0}));
    QCOMPARE(properties(bench, "type"), QList<int>({1, 2, 3, 3}));
    QCOMPARE(properties(bench, "vid"), QList<int>({0x04D8, 0x04D8, 0x067B, ConverterVendorId}));
}

void DiscoveryTest::portFilter_data()
{
    QTest::addColumn<QStringList>("descriptions");
    QTest::addColumn<QStringList>("kept");
    const auto row = [](const char *name, const QStringList &descriptions, const QStringList &kept) {
        QTest::newRow(name) << descriptions << kept;
    };
    const QString none;
    const QString link = QStringLiteral("Standard Serial over Bluetooth link");
    const QString capitals = QStringLiteral("BLUETOOTH modem");
    const QString lower = QStringLiteral("my bluetooth");
    row("ordinary", {Converter}, {Port0});
    row("no description", {none}, {});
    row("Bluetooth link", {link}, {});
    row("capitals", {capitals}, {});
    row("lower case", {lower}, {});
    row("the one behind a removed one is kept unseen", {none, capitals, Converter}, {Port1, Port2});
    row("every second one goes", {link, link, link}, {Port1});
    row("ordinary ones around", {Converter, lower, Converter}, {Port0, Port2});
}

void DiscoveryTest::portFilter()
{
    QFETCH(const QStringList, descriptions);
    QFETCH(const QStringList, kept);
    SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    for (qsizetype i = 0; i < descriptions.size(); ++i)
        bench.devices.addSerialPort(QStringLiteral("ttyUSB%1").arg(i), descriptions[i], ConverterVendorId);
    bench.start();
    if (kept.isEmpty()) {
        verifyNothingFound(bench);
        return;
    }
    QCOMPARE(entries(bench), kept);
    QVERIFY(bench.widget<QMenu>("menuActions")->isEnabled());
    QCOMPARE(checkedEntry(bench), kept.constFirst());
    QCOMPARE(bench.probe().portName(), kept.constFirst());
}

void DiscoveryTest::aBuiltInPortHasNoVendor()
{
    SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    bench.devices.addSerialPort(QStringLiteral("ttyS0"), QStringLiteral("Communications Port"), 0);
    bench.start();
    QCOMPARE(entries(bench), QStringList({QStringLiteral("ttyS0")}));
    QCOMPARE(properties(bench, "vid"), QList<int>({0}));
}

void DiscoveryTest::theAdapterComesAndGoes()
{
    SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    bench.start();
    for (int round = 0; round < 3; ++round) {
        verifyNothingFound(bench);
        adapter.setAdapters(1);
        bench.probe().updateConnections();
        QCOMPARE(entries(bench), QStringList({InfraRedText, ModbusText}));
        QVERIFY(bench.widget<QMenu>("menuActions")->isEnabled());
        QCOMPARE(bench.widget<QLabel>("labelDevName")->text(),
                 QStringLiteral("Connection via InfraRed SUB-20"));
        adapter.setAdapters(0);
        bench.probe().updateConnections();
    }
}

void DiscoveryTest::anUnpluggedPortGivesWayToTheAdapter()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    const QString port = bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.settings.setValue(QStringLiteral("settings/deviceName"), Port0);
    bench.start();
    QCOMPARE(checkedEntry(bench), Port0);
    QCOMPARE(bench.probe().portName(), Port0);
    bench.devices.remove(port);
    bench.probe().updateConnections();
    QCOMPARE(entries(bench), QStringList({InfraRedText, ModbusText}));
    QCOMPARE(checkedEntry(bench), InfraRedText);
    QCOMPARE(bench.probe().portName(), QString());
    QCOMPARE(bench.settings.value(QStringLiteral("settings/deviceName")).toString(), InfraRedText);
}

void DiscoveryTest::aPortThatComesBackIsSelectedAgain()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    const QString port = bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.settings.setValue(QStringLiteral("settings/deviceName"), Port0);
    bench.start();
    bench.devices.remove(port);
    bench.probe().updateConnections();
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.probe().updateConnections();
    // The name taken at the start still holds, although the file holds the adapter's by now.
    QCOMPARE(checkedEntry(bench), Port0);
    QCOMPARE(bench.probe().portName(), Port0);
}

void DiscoveryTest::entriesDoNotPileUp()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.start();
    const QPointer<QAction> first = bench.widget<QMenu>("menuActions")->actions().constFirst();
    const qsizetype objects = bench.window().findChildren<QObject *>().size();
    for (int run = 0; run < 100; ++run)
        bench.probe().updateConnections();
    QCOMPARE(entries(bench), QStringList({InfraRedText, ModbusText, Port0}));
    QCOMPARE(bench.window().findChildren<QObject *>().size(), objects);
    QVERIFY(!first);
}

void DiscoveryTest::entriesOfTheFormAreGone()
{
    SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    bench.start();
    for (const char *const name : {"actionInfraRed", "actionModbus", "actionCOM_port"}) {
        const QAction *const action = bench.window().findChild<QAction *>(QString::fromLatin1(name));
        QVERIFY(!action || !bench.widget<QMenu>("menuActions")->actions().contains(action));
    }
    QVERIFY(bench.widget<QMenu>("menuActions")->isEmpty());
}

void DiscoveryTest::theButtonIsLeftAlone()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start();
    auto *const button = bench.widget<QPushButton>("updBtn");
    for (const bool enabled : {true, false}) {
        button->setEnabled(enabled);
        bench.probe().updateConnections();
        QCOMPARE(button->isEnabled(), enabled);
    }
}

void DiscoveryTest::aRunningUpdateKeepsItsConnection()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "20");
    WindowBench bench(adapter);
    const QByteArray image(20 * 32, 'x');
    bench.settings.setValue(QStringLiteral("settings/filename"), bench.makeImage(image));
    bench.settings.setValue(QStringLiteral("settings/deviceName"), ModbusText);
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.start();
    bench.widget<QPushButton>("updBtn")->click();
    QTRY_VERIFY(!adapter.calls(QStringLiteral("sub_rs_xfer")).isEmpty());
    bench.probe().setDeviceName(Port0);
    bench.probe().updateConnections();
    QCOMPARE(bench.probe().connectionType(), int{ConnectionComPort});
    QTRY_COMPARE(bench.widget<QPushButton>("updBtn")->text(), QStringLiteral("Start Update"));
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
}

QTEST_MAIN(DiscoveryTest)
#include "tst_discovery.moc"
