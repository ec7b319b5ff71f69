// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "connections/usbmonitor.h"
#include "tests/support/messagelog.h"
#include "tests/support/nothingtoopen.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"
#include "update/emitter.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScopeGuard>
#include <QSemaphore>
#include <QSignalSpy>

using Kind = UsbEvent::Kind;

namespace {

constexpr quint16 ConverterVendorId = 0x0403;
constexpr quint16 OtherConverterVendorId = 0x067B;
constexpr quint16 UnrelatedVendorId = 0x046D;
constexpr quint16 AdapterVendorId = 0x04D8;
constexpr quint16 AdapterProductId = 0xFFC3;
/// Of a device that concerns nobody and comes last.
constexpr quint16 LastVendorId = 0x1D6B;

const QString InfraRedText = QStringLiteral("InfraRed SUB-20");
const QString ModbusText = QStringLiteral("Modbus SUB-20");
const QString Port0 = QStringLiteral("ttyUSB0");
const QString Port1 = QStringLiteral("ttyUSB1");
const QString Port2 = QStringLiteral("ttyUSB2");
const QString Converter = QStringLiteral("USB Serial Converter");

UsbMonitor *monitorOf(const WindowBench &bench)
{
    return bench.window().findChild<UsbMonitor *>();
}

} // namespace

/// What the window does when USB devices and serial ports come and go.
class UsbReactionTest : public TestCase
{
    Q_OBJECT

private slots:
    void arrival_data();
    void arrival();
    void removal_data();
    void removal();
    void matchesAreCountedBeforeTheFirstRun();
    void portsOutsideTheMenuCountForAnArrival();

    void theButtonFollowsTheFileField_data();
    void theButtonFollowsTheFileField();
    void theButtonStaysAsItIsWithoutARun();

    // The rest begins with a device that is plugged in or pulled out.
    void adapterIsPluggedIn();
    void adapterIsPulledOut();
    void serialPortComesAndGoes();
    void twoPortsOfOneVendor();
    void twoPortsOfOneDevice();
    void manyPortsAtOnce();
    void portThatIsNoneOfTheMenusLeaves();
    void lostEventsTakeOneLook();
    void unrelatedDevices();
    void theStoredPortIsTakenWhenItComes();
    void theButtonFollowsDevices();
    void anUpdateGoesOnUndisturbed();
    void theLastMenuIsRightAfterManyDevices();
    void eachWindowFollowsDevices();

    void withoutDeviceManagerTheProgramGoesOn();

private:
    static int runs(const SimulatedAdapter &adapter);
    static int runsOf(const WindowBench &bench, const SimulatedAdapter &adapter, const UsbEvent &event);
    static QStringList entries(const WindowBench &bench);
    static QString label(const WindowBench &bench);
    static void catchUp(WindowBench &bench);
};

/// How often discovery has run.
int UsbReactionTest::runs(const SimulatedAdapter &adapter)
{
    return static_cast<int>(adapter.calls(QStringLiteral("sub_find_devices")).size());
}

/// How often discovery runs for this event.
int UsbReactionTest::runsOf(const WindowBench &bench, const SimulatedAdapter &adapter, const UsbEvent &event)
{
    const int before = runs(adapter);
    emit monitorOf(bench)->noticed(event);
    return runs(adapter) - before;
}

/// The texts of the menu's entries, the checked one in brackets.
QStringList UsbReactionTest::entries(const WindowBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.probe().menu()->actions())
        texts += action->isChecked() ? QStringLiteral("[%1]").arg(action->text()) : action->text();
    return texts;
}

QString UsbReactionTest::label(const WindowBench &bench)
{
    return bench.widget<QLabel>("labelDevName")->text();
}

void UsbReactionTest::arrival_data()
{
    QTest::addColumn<int>("adapters");
    QTest::addColumn<QList<quint16>>("ports"); // by their vendors
    QTest::addColumn<quint32>("vendorId");
    QTest::addColumn<int>("runs");
    using Ports = QList<quint16>;
    const auto row = [](const char *name, int adapters, const Ports &ports, quint32 vendorId, int runs) {
        QTest::newRow(name) << adapters << ports << vendorId << runs;
    };
    row("adapter, no ports", 1, {}, AdapterVendorId, 1);
    row("adapter that is not found, no ports", 0, {}, AdapterVendorId, 1);
    row("adapter beside ports of its vendor", 1, {AdapterVendorId, AdapterVendorId}, AdapterVendorId, 1);
    row("port", 0, {ConverterVendorId}, ConverterVendorId, 1);
    row("two ports of its vendor", 0, {ConverterVendorId, OtherConverterVendorId, ConverterVendorId},
        ConverterVendorId, 2);
    row("vendor of no port", 1, {ConverterVendorId, 0}, UnrelatedVendorId, 0);
    row("no ports at all", 1, {}, ConverterVendorId, 0);
    row("vendor with more than 16 bits", 1, {ConverterVendorId}, 0x1'04D8, 0);
}

void UsbReactionTest::arrival()
{
    QFETCH(const int, adapters);
    QFETCH(const QList<quint16>, ports);
    QFETCH(const quint32, vendorId);
    const SimulatedAdapter adapter(adapters);
    WindowBench bench;
    for (qsizetype i = 0; i < ports.size(); ++i)
        bench.devices.addSerialPort(QStringLiteral("ttyUSB%1").arg(i), Converter, ports[i]);
    bench.start();
    QTEST(runsOf(bench, adapter, {Kind::Arrival, vendorId}), "runs");
}

void UsbReactionTest::removal_data()
{
    QTest::addColumn<QList<quint16>>("menu");
    QTest::addColumn<quint32>("vendorId");
    QTest::addColumn<int>("runs");
    using Vendors = QList<quint16>;
    const auto row = [](const char *name, const Vendors &menu, quint32 vendorId, int runs) {
        QTest::newRow(name) << menu << vendorId << runs;
    };
    row("adapter", {AdapterVendorId, AdapterVendorId}, AdapterVendorId, 2);
    row("adapter and a port of its vendor", {AdapterVendorId, AdapterVendorId, AdapterVendorId},
        AdapterVendorId, 3);
    row("port", {AdapterVendorId, AdapterVendorId, ConverterVendorId}, ConverterVendorId, 1);
    row("three ports", {ConverterVendorId, ConverterVendorId, ConverterVendorId}, ConverterVendorId, 3);
    row("vendor of no entry", {AdapterVendorId, ConverterVendorId, 0}, UnrelatedVendorId, 0);
    row("empty menu", {}, AdapterVendorId, 0);
    row("vendor with more than 16 bits", {AdapterVendorId}, 0x1'04D8, 0);
}

void UsbReactionTest::removal()
{
    QFETCH(const QList<quint16>, menu);
    QFETCH(const quint32, vendorId);
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.start();
    for (const quint16 vendor : menu)
        bench.probe().addConnectionAction(QStringLiteral("entry"), ConnectionComPort, vendor);
    QTEST(runsOf(bench, adapter, {Kind::Removal, vendorId}), "runs");
}

void UsbReactionTest::matchesAreCountedBeforeTheFirstRun()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench;
    bench.start();
    QCOMPARE(entries(bench).size(), 2);
    adapter.setAdapters(0); // the first run already leaves an empty menu
    QCOMPARE(runsOf(bench, adapter, {Kind::Removal, AdapterVendorId}), 2);
    QCOMPARE(entries(bench), QStringList());
    QCOMPARE(runsOf(bench, adapter, {Kind::Removal, AdapterVendorId}), 0);
}

void UsbReactionTest::portsOutsideTheMenuCountForAnArrival()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.devices.addSerialPort(Port0, QStringLiteral("Bluetooth link"), ConverterVendorId);
    bench.start();
    QCOMPARE(entries(bench), QStringList());
    QCOMPARE(runsOf(bench, adapter, {Kind::Arrival, ConverterVendorId}), 1);
    QCOMPARE(runsOf(bench, adapter, {Kind::Removal, ConverterVendorId}), 0);
}

void UsbReactionTest::theButtonFollowsTheFileField_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("before");
    for (const bool before : {false, true}) {
        QTest::addRow("a file, %s before", before ? "on" : "off") << QStringLiteral("panel.INC") << before;
        QTest::addRow("a blank, %s before", before ? "on" : "off") << QStringLiteral(" ") << before;
        QTest::addRow("nothing, %s before", before ? "on" : "off") << QString() << before;
    }
}

void UsbReactionTest::theButtonFollowsTheFileField()
{
    QFETCH(const QString, text);
    QFETCH(const bool, before);
    const SimulatedAdapter adapter(1);
    WindowBench bench;
    bench.start();
    bench.widget<QLineEdit>("lineEdit")->setText(text);
    auto *const button = bench.widget<QPushButton>("updBtn");
    for (const Kind kind : {Kind::Arrival, Kind::Removal}) {
        button->setEnabled(before);
        QVERIFY(runsOf(bench, adapter, {kind, AdapterVendorId}) > 0);
        QCOMPARE(button->isEnabled(), !text.isEmpty());
    }
}

void UsbReactionTest::theButtonStaysAsItIsWithoutARun()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench;
    bench.start();
    auto *const button = bench.widget<QPushButton>("updBtn");
    button->setEnabled(true);
    for (const Kind kind : {Kind::Arrival, Kind::Removal}) {
        QCOMPARE(runsOf(bench, adapter, {kind, UnrelatedVendorId}), 0);
        QVERIFY(button->isEnabled());
    }
}

/// When this returns, the window has reacted to every notice before it.
void UsbReactionTest::catchUp(WindowBench &bench)
{
    const QSignalSpy notices(monitorOf(bench), &UsbMonitor::noticed);
    bench.devices.addUsbDevice(LastVendorId, 1);
    QTRY_VERIFY(!notices.isEmpty() && notices.constLast()[0].value<UsbEvent>().vendorId == LastVendorId);
}

void UsbReactionTest::adapterIsPluggedIn()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.start();
    QCOMPARE(runs(adapter), 1);
    QCOMPARE(label(bench), QStringLiteral("No Available Connections"));
    adapter.setAdapters(1);
    bench.devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    QTRY_COMPARE(entries(bench), QStringList({u'[' + InfraRedText + u']', ModbusText}));
    QCOMPARE(runs(adapter), 2);
    QCOMPARE(label(bench), QStringLiteral("Connection via InfraRed SUB-20"));
    catchUp(bench);
    QCOMPARE(runs(adapter), 2);
}

void UsbReactionTest::adapterIsPulledOut()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench;
    const QString id = bench.devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    bench.start();
    QCOMPARE(runs(adapter), 1);
    adapter.setAdapters(0);
    bench.devices.remove(id);
    QTRY_COMPARE(entries(bench), QStringList());
    QCOMPARE(runs(adapter), 3); // one for each of its entries
    QCOMPARE(label(bench), QStringLiteral("No Available Connections"));
    QVERIFY(!bench.probe().menu()->isEnabled());
    catchUp(bench);
    QCOMPARE(runs(adapter), 3);
}

void UsbReactionTest::serialPortComesAndGoes()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.start();
    for (int round = 0; round < 3; ++round) {
        // The port appears a moment after its USB device, which then concerns no port yet.
        const QString id = bench.devices.addUsbDevice(ConverterVendorId, 0x6001);
        catchUp(bench);
        QCOMPARE(entries(bench), QStringList());
        const int before = runs(adapter);
        bench.devices.addPortOf(id, Port0, Converter);
        QTRY_COMPARE(entries(bench), QStringList(u'[' + Port0 + u']'));
        QCOMPARE(runs(adapter), before + 1);
        QCOMPARE(bench.probe().portName(), Port0);
        bench.devices.remove(id);
        QTRY_COMPARE(label(bench), QStringLiteral("No Available Connections"));
        catchUp(bench);
        QCOMPARE(runs(adapter), before + 2);
    }
}

void UsbReactionTest::twoPortsOfOneVendor()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.devices.addSerialPort(Port1, Converter, ConverterVendorId);
    bench.devices.addSerialPort(Port2, Converter, OtherConverterVendorId);
    bench.start();
    const QStringList all{u'[' + Port0 + u']', Port1, Port2};
    QCOMPARE(entries(bench), all);
    const int before = runs(adapter);
    const QString id = bench.devices.addUsbDevice(ConverterVendorId, 0x6001);
    catchUp(bench);
    QCOMPARE(runs(adapter), before + 2);
    bench.devices.remove(id);
    catchUp(bench);
    QCOMPARE(runs(adapter), before + 4);
    QCOMPARE(entries(bench), all);
}

/// One cable with two ports: two runs when it comes, by the first port's notice, and two when it goes.
void UsbReactionTest::twoPortsOfOneDevice()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.start();
    const QString id = bench.devices.addUsbDevice(ConverterVendorId, 0x6001);
    catchUp(bench);
    const int before = runs(adapter);
    bench.devices.addPortOf(id, Port0, Converter);
    bench.devices.addPortOf(id, Port1, Converter);
    catchUp(bench);
    QCOMPARE(entries(bench), QStringList({u'[' + Port0 + u']', Port1}));
    QCOMPARE(runs(adapter), before + 2);
    bench.devices.remove(id);
    catchUp(bench);
    QCOMPARE(entries(bench), QStringList());
    QCOMPARE(runs(adapter), before + 4);
}

/// Eight ports on two chips: each chip stands for eight ports, and so does the one port's notice that comes
/// first.
void UsbReactionTest::manyPortsAtOnce()
{
    constexpr int Ports = 8;
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.start();
    const QString first = bench.devices.addUsbDevice(ConverterVendorId, 0x6011);
    const QString second = bench.devices.addUsbDevice(ConverterVendorId, 0x6011);
    catchUp(bench);
    const int before = runs(adapter);
    for (int port = 0; port < Ports; ++port)
        bench.devices.addPortOf(port % 2 == 0 ? first : second, QStringLiteral("ttyUSB%1").arg(port),
                                Converter);
    catchUp(bench);
    QCOMPARE(entries(bench).size(), Ports);
    QCOMPARE(runs(adapter), before + Ports);
    bench.devices.tell(first, QStringLiteral("add"));
    bench.devices.tell(second, QStringLiteral("add"));
    catchUp(bench);
    QCOMPARE(runs(adapter), before + 3 * Ports);
    bench.devices.remove(first);
    bench.devices.remove(second);
    catchUp(bench);
    QCOMPARE(entries(bench), QStringList());
    QCOMPARE(runs(adapter), before + 4 * Ports);
}

void UsbReactionTest::portThatIsNoneOfTheMenusLeaves()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.start();
    const QString device = bench.devices.addUsbDevice(UnrelatedVendorId, 1);
    const QString nameless = bench.devices.addPlainDevice(
        "tty", Port1, device, {QStringLiteral("ID_VENDOR_ID"), QStringLiteral("0403")});
    catchUp(bench);
    QCOMPARE(entries(bench), QStringList(u'[' + Port0 + u']'));
    const int before = runs(adapter);
    bench.devices.remove(nameless);
    catchUp(bench);
    QCOMPARE(runs(adapter), before);
}

void UsbReactionTest::lostEventsTakeOneLook()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    for (const QString &port : {Port0, Port1, Port2})
        bench.devices.addSerialPort(port, Converter, ConverterVendorId);
    bench.start();
    QCOMPARE(runsOf(bench, adapter, {Kind::Lost}), 1);
}

void UsbReactionTest::unrelatedDevices()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench;
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.start();
    const QList<QAction *> actions = bench.probe().menu()->actions();
    bench.devices.remove(bench.devices.addUsbDevice(UnrelatedVendorId, 1));
    // Of the vendors of the menu, but neither a USB device as a whole nor a serial port.
    const QStringList vendor{QStringLiteral("ID_VENDOR_ID"), QStringLiteral("04d8")};
    bench.devices.remove(bench.devices.addPlainDevice("hidraw", QStringLiteral("hidraw0"), {}, vendor));
    bench.devices.remove(bench.devices.addPlainDevice("block", QStringLiteral("sda"), {}, vendor));
    bench.devices.addSerialPort(QStringLiteral("ttyS0"), Converter, 0);
    bench.devices.tell(bench.devices.addUsbDevice(UnrelatedVendorId, 2), QStringLiteral("change"));
    catchUp(bench);
    QCOMPARE(bench.probe().menu()->actions(), actions);
    QCOMPARE(runs(adapter), 1);
}

void UsbReactionTest::theStoredPortIsTakenWhenItComes()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench;
    bench.settings.setValue(QStringLiteral("settings/deviceName"), Port1);
    bench.start();
    QCOMPARE(entries(bench), QStringList({u'[' + InfraRedText + u']', ModbusText}));
    QVERIFY(bench.probe().portName().isEmpty());
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    QTRY_COMPARE(entries(bench), QStringList({u'[' + InfraRedText + u']', ModbusText, Port0}));
    const QString id = bench.devices.addSerialPort(Port1, Converter, OtherConverterVendorId);
    QTRY_COMPARE(entries(bench), QStringList({InfraRedText, ModbusText, Port0, u'[' + Port1 + u']'}));
    QCOMPARE(bench.probe().portName(), Port1);
    QCOMPARE(label(bench), QStringLiteral("Connection via ") + Port1);
    bench.devices.remove(id);
    QTRY_COMPARE(entries(bench), QStringList({u'[' + InfraRedText + u']', ModbusText, Port0}));
    QVERIFY(bench.probe().portName().isEmpty());
}

void UsbReactionTest::theButtonFollowsDevices()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.start();
    auto *const button = bench.widget<QPushButton>("updBtn");
    bench.widget<QLineEdit>("lineEdit")->setText(QStringLiteral("panel.INC"));
    QVERIFY(!button->isEnabled());
    const QString id = bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    QTRY_VERIFY(button->isEnabled());
    bench.widget<QLineEdit>("lineEdit")->clear();
    button->setEnabled(true);
    bench.devices.remove(id);
    QTRY_VERIFY(!button->isEnabled());
}

/// The update stands at its first piece until the devices have come and gone.
void UsbReactionTest::anUpdateGoesOnUndisturbed()
{
    constexpr int Records = 60;
    const SimulatedAdapter adapter;
    QSemaphore isUnderWay;
    QSemaphore mayGoOn;
    WindowBench bench;
    const QByteArray image(Records * 32, 'x');
    bench.start(ModbusText, image);
    const auto letGo = qScopeGuard([&] { mayGoOn.release(Records); }); // however the test ends
    connect(
        bench.probe().emitter(), &Emitter::load_progress, &bench.window(),
        [&] {
            isUnderWay.release();
            mayGoOn.acquire();
        },
        Qt::DirectConnection);
    bench.press();
    QTRY_VERIFY(isUnderWay.available() > 0);
    for (int round = 0; round < 5; ++round) {
        const QString id = bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
        QTRY_COMPARE(entries(bench).size(), 3);
        QCOMPARE(bench.buttonText(), QStringLiteral("Stop"));
        QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
        bench.devices.remove(id);
        QTRY_COMPARE(entries(bench).size(), 2);
    }
    QCOMPARE(isUnderWay.available(), 1);
    mayGoOn.release(Records);
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
}

void UsbReactionTest::theLastMenuIsRightAfterManyDevices()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.start();
    const qsizetype objects = bench.window().findChildren<QObject *>().size();
    for (int round = 0; round < 10; ++round) {
        const QString first = bench.devices.addSerialPort(Port1, Converter, ConverterVendorId);
        const QString second = bench.devices.addSerialPort(Port2, Converter, ConverterVendorId);
        bench.devices.remove(second);
        bench.devices.remove(first);
    }
    QTRY_COMPARE(entries(bench), QStringList(u'[' + Port0 + u']'));
    catchUp(bench);
    QCOMPARE(entries(bench), QStringList(u'[' + Port0 + u']'));
    QCOMPARE(bench.window().findChildren<QObject *>().size(), objects);
    bench.devices.addSerialPort(Port2, Converter, ConverterVendorId);
    QTRY_COMPARE(entries(bench), QStringList({u'[' + Port0 + u']', Port2}));
}

void UsbReactionTest::eachWindowFollowsDevices()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench;
    for (int round = 0; round < 3; ++round) {
        bench.start();
        const QString id = bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
        QTRY_COMPARE(entries(bench), QStringList(u'[' + Port0 + u']'));
        bench.devices.remove(id);
        QTRY_COMPARE(entries(bench), QStringList());
    }
}

void UsbReactionTest::withoutDeviceManagerTheProgramGoesOn()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench;
    bench.start(ModbusText, QByteArray(64, 'x')); // what a first window opens, is open by now
    const QString line = QStringLiteral("USB devices are not followed: no device monitor");
    MessageLog log;
    {
        bench.close();
        const NothingToOpen limit;
        bench.start();
    }
    QCOMPARE(log.count(line), 1);
    QCOMPARE(log.texts().filter(QStringLiteral("USB devices")).size(), 1);
    bench.probe().updateConnections();
    QCOMPARE(entries(bench), QStringList({InfraRedText, u'[' + ModbusText + u']'}));
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), QByteArray(64, 'x'));
}

QTEST_MAIN(UsbReactionTest)
#include "tst_usbreaction.moc"
