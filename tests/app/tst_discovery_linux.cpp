// SPDX-License-Identifier: MIT
#include "connections/serialports.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/devicebench.h"
#include "tests/support/messagelog.h"
#include "tests/support/testcase.h"

#include <QAction>
#include <QMenu>

#include <algorithm>

namespace {

const QString Port0 = QStringLiteral("ttyUSB0");
const QString Port1 = QStringLiteral("ttyUSB1");
const QString Converter = QStringLiteral("USB Serial Converter");
/// That of every port that is made up.
constexpr quint16 ProductId = 0x6001;

QStringList entries(const WindowBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions())
        texts += action->text();
    return texts;
}

} // namespace

/// What is found on a machine with Linux: its serial ports, and the adapter's library wherever the system's
/// loader has it.
class LinuxDiscoveryTest : public TestCase
{
    Q_OBJECT

private slots:
    // First, since nothing takes the library away again once it was found.
    void withoutTheLibraryThereIsNoAdapter();
    void theLibraryIsFoundWhenItComesLater();

    void thePortsHaveTheirNamesAndVendors();
    void aRemovedPortIsGone();
};

void LinuxDiscoveryTest::withoutTheLibraryThereIsNoAdapter()
{
    DeviceBench bench;
    const MessageLog log;
    bench.start();
    QCOMPARE(log.texts().filter(QStringLiteral("SUB-20 library not used")).size(), 1);
    QCOMPARE(entries(bench), QStringList());
    bench.devices.addSerialPort(Port0, Converter, 0x0403);
    bench.probe().updateConnections();
    QCOMPARE(entries(bench), QStringList({Port0}));
}

void LinuxDiscoveryTest::theLibraryIsFoundWhenItComesLater()
{
    DeviceBench bench;
    bench.start();
    QCOMPARE(entries(bench), QStringList());
    const SimulatedAdapter adapter;
    bench.probe().updateConnections();
    QCOMPARE(entries(bench), QStringList({InfraRedText, ModbusText}));
}

void LinuxDiscoveryTest::thePortsHaveTheirNamesAndVendors()
{
    MockDevices machine;
    machine.addSerialPort(Port0, Converter, 0x0403);
    machine.addSerialPort(Port1, {}, 0x067B);
    machine.addSerialPort(QStringLiteral("ttyS0"), QStringLiteral("Communications Port"), 0);
    QList<SerialPort> ports = systemSerialPorts();
    std::sort(ports.begin(), ports.end(),
              [](const SerialPort &a, const SerialPort &b) { return a.name < b.name; });
    QCOMPARE(ports, QList<SerialPort>({{QStringLiteral("ttyS0"), QStringLiteral("Communications Port"), 0},
                                       {Port0, Converter, 0x0403, ProductId},
                                       {Port1, QString(), 0x067B, ProductId}}));
}

void LinuxDiscoveryTest::aRemovedPortIsGone()
{
    MockDevices machine;
    const QString id = machine.addSerialPort(Port0, Converter, 0x0403);
    machine.addSerialPort(Port1, Converter, 0x0403);
    machine.remove(id);
    QCOMPARE(systemSerialPorts(), QList<SerialPort>({{Port1, Converter, 0x0403, ProductId}}));
}

QTEST_MAIN(LinuxDiscoveryTest)
#include "tst_discovery_linux.moc"
