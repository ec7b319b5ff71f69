// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "connections/usbmonitor.h"
#include "tests/support/devicebench.h"
#include "tests/support/messagelog.h"
#include "tests/support/nothingtoopen.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"
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

UsbMonitor *monitorOf(const DeviceBench &bench)
{
    return bench.window().findChild<UsbMonitor *>();
}

} // namespace

/// What the window does when USB devices and serial ports are plugged in and pulled out of a machine with
/// Linux.
class DeviceReactionTest : public TestCase
{
    Q_OBJECT

private slots:
    void adapterIsPluggedIn();
    void adapterIsPulledOut();
    void serialPortComesAndGoes();
    void twoPortsOfOneVendor();
    void twoPortsOfOneDevice();
    void manyPortsAtOnce();
    void portThatIsNoneOfTheMenusLeaves();
    void unrelatedDevices();
    void theStoredPortIsTakenWhenItComes();
    void theButtonFollowsDevices();
    void anUpdateGoesOnUndisturbed();
    void theLastMenuIsRightAfterManyDevices();
    void eachWindowFollowsDevices();

    void withoutDeviceManagerTheProgramGoesOn();

private:
    static int runs(const SimulatedAdapter &adapter);
    static QStringList entries(const DeviceBench &bench);
    static QString label(const DeviceBench &bench);
    static void catchUp(DeviceBench &bench);
};

/// How often discovery has run.
int DeviceReactionTest::runs(const SimulatedAdapter &adapter)
{
    return static_cast<int>(adapter.calls(QStringLiteral("sub_find_devices")).size());
}

/// The texts of the menu's entries, the checked one in brackets.
QStringList DeviceReactionTest::entries(const DeviceBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions())
        texts += action->isChecked() ? QStringLiteral("[%1]").arg(action->text()) : action->text();
    return texts;
}

QString DeviceReactionTest::label(const DeviceBench &bench)
{
    return bench.widget<QLabel>("labelDevName")->text();
}

/// When this returns, the window has reacted to every notice before it.
void DeviceReactionTest::catchUp(DeviceBench &bench)
{
    const QSignalSpy notices(monitorOf(bench), &UsbMonitor::reported);
    bench.devices.addUsbDevice(LastVendorId, 1);
    QTRY_VERIFY(!notices.isEmpty() && notices.constLast()[0].value<UsbEvent>().vendorId == LastVendorId);
}

void DeviceReactionTest::adapterIsPluggedIn()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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

void DeviceReactionTest::adapterIsPulledOut()
{
    const SimulatedAdapter adapter(1);
    DeviceBench bench;
    const QString id = bench.devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    bench.start();
    QCOMPARE(runs(adapter), 1);
    adapter.setAdapters(0);
    bench.devices.remove(id);
    QTRY_COMPARE(entries(bench), QStringList());
    QCOMPARE(runs(adapter), 3); // one for each of its entries
    QCOMPARE(label(bench), QStringLiteral("No Available Connections"));
    QVERIFY(!bench.widget<QMenu>("menuActions")->isEnabled());
    catchUp(bench);
    QCOMPARE(runs(adapter), 3);
}

void DeviceReactionTest::serialPortComesAndGoes()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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

void DeviceReactionTest::twoPortsOfOneVendor()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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
void DeviceReactionTest::twoPortsOfOneDevice()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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
void DeviceReactionTest::manyPortsAtOnce()
{
    constexpr int Ports = 8;
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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
    bench.devices.report(first, QStringLiteral("add"));
    bench.devices.report(second, QStringLiteral("add"));
    catchUp(bench);
    QCOMPARE(runs(adapter), before + 3 * Ports);
    bench.devices.remove(first);
    bench.devices.remove(second);
    catchUp(bench);
    QCOMPARE(entries(bench), QStringList());
    QCOMPARE(runs(adapter), before + 4 * Ports);
}

void DeviceReactionTest::portThatIsNoneOfTheMenusLeaves()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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

void DeviceReactionTest::unrelatedDevices()
{
    const SimulatedAdapter adapter(1);
    DeviceBench bench;
    bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
    bench.start();
    const QList<QAction *> actions = bench.widget<QMenu>("menuActions")->actions();
    bench.devices.remove(bench.devices.addUsbDevice(UnrelatedVendorId, 1));
    // Of the vendors of the menu, but neither a USB device as a whole nor a serial port.
    const QStringList vendor{QStringLiteral("ID_VENDOR_ID"), QStringLiteral("04d8")};
    bench.devices.remove(bench.devices.addPlainDevice("hidraw", QStringLiteral("hidraw0"), {}, vendor));
    bench.devices.remove(bench.devices.addPlainDevice("block", QStringLiteral("sda"), {}, vendor));
    bench.devices.addSerialPort(QStringLiteral("ttyS0"), Converter, 0);
    bench.devices.report(bench.devices.addUsbDevice(UnrelatedVendorId, 2), QStringLiteral("change"));
    catchUp(bench);
    QCOMPARE(bench.widget<QMenu>("menuActions")->actions(), actions);
    QCOMPARE(runs(adapter), 1);
}

void DeviceReactionTest::theStoredPortIsTakenWhenItComes()
{
    const SimulatedAdapter adapter(1);
    DeviceBench bench;
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

void DeviceReactionTest::theButtonFollowsDevices()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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
void DeviceReactionTest::anUpdateGoesOnUndisturbed()
{
    constexpr int Records = 60;
    const SimulatedAdapter adapter;
    QSemaphore isUnderWay;
    QSemaphore mayGoOn;
    DeviceBench bench;
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

void DeviceReactionTest::theLastMenuIsRightAfterManyDevices()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
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

void DeviceReactionTest::eachWindowFollowsDevices()
{
    const SimulatedAdapter adapter(0);
    DeviceBench bench;
    for (int round = 0; round < 3; ++round) {
        bench.start();
        const QString id = bench.devices.addSerialPort(Port0, Converter, ConverterVendorId);
        QTRY_COMPARE(entries(bench), QStringList(u'[' + Port0 + u']'));
        bench.devices.remove(id);
        QTRY_COMPARE(entries(bench), QStringList());
    }
}

void DeviceReactionTest::withoutDeviceManagerTheProgramGoesOn()
{
    const SimulatedAdapter adapter(1);
    DeviceBench bench;
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

QTEST_MAIN(DeviceReactionTest)
#include "tst_usbreaction_linux.moc"
