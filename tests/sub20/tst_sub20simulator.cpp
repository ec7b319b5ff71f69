// SPDX-License-Identifier: MIT
#include "sub20/sub20.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"

#include <array>

/// The process's binding finds a library where the program looks for one, and its calls arrive there.
class Sub20SimulatorTest : public TestCase
{
    Q_OBJECT

private slots:
    void findsEachAdapter();
    void callsArrive();
    void errorsComeBack();
    void closedHandleIsNoMisuse();
};

void Sub20SimulatorTest::findsEachAdapter()
{
    SimulatedAdapter adapter(2);
    Sub20 &library = Sub20::instance();
    const sub_device second = library.findDevices(library.findDevices(nullptr));
    QVERIFY(second != nullptr);
    QCOMPARE(library.findDevices(second), sub_device());
    adapter.setAdapters(0);
    QCOMPARE(library.findDevices(nullptr), sub_device());
    QCOMPARE(adapter.log(), (QStringList{QStringLiteral("sub_find_devices null = d1"),
                                         QStringLiteral("sub_find_devices d1 = d2"),
                                         QStringLiteral("sub_find_devices d2 = null"),
                                         QStringLiteral("sub_find_devices null = null")}));
}

void Sub20SimulatorTest::callsArrive()
{
    SimulatedAdapter adapter;
    adapter.set("LOG_DATA", "1");
    Sub20 &library = Sub20::instance();
    const sub_handle handle = library.open(nullptr);
    const QString name = adapter.log().constLast().section(QStringLiteral(" = "), 1);
    const std::array<std::uint8_t, 3> frame{0x55, 0x00, 0xEA};
    QCOMPARE(library.irConfig(handle, 38000, 10, 1, 11).value, 0);
    QCOMPARE(library.irTx(handle, frame).value, 0);
    QCOMPARE(library.close(handle), 0);
    const QStringList log = adapter.log();
    QCOMPARE(log.value(1), QStringLiteral("sub_ir_config %1 38000 10 1 11 = 0").arg(name));
    QCOMPARE(log.value(2), QStringLiteral("sub_ir_tx %1 3 tx=5500EA = 0").arg(name));
    QCOMPARE(log.constLast(), QStringLiteral("sub_close %1 = 0").arg(name));
}

void Sub20SimulatorTest::errorsComeBack()
{
    SimulatedAdapter adapter;
    adapter.set("FAIL", "sub_ir_tx:1:13;sub_rs_xfer:1:-7:99");
    Sub20 &library = Sub20::instance();
    const sub_handle handle = library.open(nullptr);
    std::array<std::uint8_t, 1> byte{};
    const Sub20Result sent = library.irTx(handle, byte);
    QCOMPARE(sent.value, 13);
    QCOMPARE(sent.errorText, QStringLiteral("simulated adapter error 13"));
    const Sub20Result transferred = library.rsXfer(handle, byte, byte);
    QCOMPARE(transferred.value, -7);
    QCOMPARE(transferred.errorText, QStringLiteral("simulated adapter error 99"));
    QCOMPARE(library.close(handle), 0);
}

void Sub20SimulatorTest::closedHandleIsNoMisuse()
{
    SimulatedAdapter adapter;
    adapter.set("REUSE_HANDLE", "1");
    Sub20 &library = Sub20::instance();
    for (int round = 0; round < 3; ++round) {
        const sub_handle handle = library.open(nullptr);
        QCOMPARE(library.irConfig(handle, 38000, 10, 1, 10).value, 0);
        QCOMPARE(library.close(handle), 0);
        QCOMPARE(library.close(handle), Sub20::NotOpen);
    }
    QCOMPARE(adapter.calls(QStringLiteral("misuse")), QStringList());
}

QTEST_GUILESS_MAIN(Sub20SimulatorTest)
#include "tst_sub20simulator.moc"
