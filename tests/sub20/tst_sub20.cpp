// SPDX-License-Identifier: MIT
#include "sub20/sub20.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"

#include <array>

/// What reaches the adapter's library and what does not.
class TestSub20 : public TestCase
{
    Q_OBJECT

private slots:
    void findsEachAdapter();
    void findsNoneAndLooksAgain();
    void opensTheAdapterAskedFor();
    void openFailsWithoutAdapter();
    void infraredCallsPassThrough();
    void libraryErrorsPassThrough();
    void errorTextMayBeMissing();
    void closedHandleIsNeverPassedOn();
    void foreignHandlesAreNeverPassedOn();
    void reopenedHandleIsGoodAgain();
    void handleIsClosedEvenIfClosingFails();

private:
    static QString nameOf(const QString &openCall) { return openCall.section(QStringLiteral(" = "), 1); }

    Sub20 &library = Sub20::instance();
};

void TestSub20::findsEachAdapter()
{
    SimulatedAdapter adapter(2);
    const sub_device first = library.findDevices(nullptr);
    QVERIFY(first != nullptr);
    const sub_device second = library.findDevices(first);
    QVERIFY(second != nullptr);
    QVERIFY(second != first);
    QCOMPARE(library.findDevices(second), sub_device());
    QCOMPARE(adapter.log(), (QStringList{QStringLiteral("sub_find_devices null = d1"),
                                         QStringLiteral("sub_find_devices d1 = d2"),
                                         QStringLiteral("sub_find_devices d2 = null")}));
}

void TestSub20::findsNoneAndLooksAgain()
{
    SimulatedAdapter adapter(0);
    QCOMPARE(library.findDevices(nullptr), sub_device());
    adapter.setAdapters(1);
    QVERIFY(library.findDevices(nullptr) != nullptr);
}

void TestSub20::opensTheAdapterAskedFor()
{
    SimulatedAdapter adapter(2);
    const sub_device second = library.findDevices(library.findDevices(nullptr));
    const sub_handle handle = library.open(second);
    QVERIFY(handle != nullptr);
    QVERIFY(adapter.log().constLast().startsWith(QStringLiteral("sub_open d2 = h")));
    QCOMPARE(library.close(handle), 0);
}

void TestSub20::openFailsWithoutAdapter()
{
    SimulatedAdapter adapter(0);
    QCOMPARE(library.open(nullptr), sub_handle());
    QCOMPARE(library.lastError(), -1);
    QCOMPARE(adapter.log(), QStringList{QStringLiteral("sub_open null = null")});
}

void TestSub20::infraredCallsPassThrough()
{
    SimulatedAdapter adapter;
    adapter.set("LOG_DATA", "1");
    const sub_handle handle = library.open(nullptr);
    const QString name = nameOf(adapter.log().constLast());
    std::array<char, 3> data{'\x55', '\x00', '\xEA'};
    QCOMPARE(library.irConfig(handle, 38000, 10, 1, 11), 0);
    QCOMPARE(library.irTx(handle, 3, data.data()), 0);
    QCOMPARE(library.close(handle), 0);
    const QStringList log = adapter.log();
    QCOMPARE(log.value(1), QStringLiteral("sub_ir_config %1 38000 10 1 11 = 0").arg(name));
    QCOMPARE(log.value(2), QStringLiteral("sub_ir_tx %1 3 tx=5500EA = 0").arg(name));
    QCOMPARE(log.constLast(), QStringLiteral("sub_close %1 = 0").arg(name));
}

void TestSub20::libraryErrorsPassThrough()
{
    SimulatedAdapter adapter;
    adapter.set("FAIL", "sub_ir_config:1:-11:12;sub_ir_tx:1:13");
    const sub_handle handle = library.open(nullptr);
    QCOMPARE(library.irConfig(handle, 38000, 10, 1, 10), -11);
    QCOMPARE(library.lastError(), 12);
    QCOMPARE(library.errorText(-11), QStringLiteral("simulated adapter error -11"));
    char byte = 0;
    QCOMPARE(library.irTx(handle, 1, &byte), 13);
    QCOMPARE(library.lastError(), 13);
    QCOMPARE(library.close(handle), 0);
}

void TestSub20::errorTextMayBeMissing()
{
    SimulatedAdapter adapter;
    adapter.set("NO_ERROR_TEXT", "1");
    QCOMPARE(library.errorText(-5), QString());
    QCOMPARE(adapter.log(), QStringList{QStringLiteral("sub_strerror -5 = null")});
}

void TestSub20::closedHandleIsNeverPassedOn()
{
    SimulatedAdapter adapter;
    const sub_handle handle = library.open(nullptr);
    QCOMPARE(library.close(handle), 0);
    const QStringList before = adapter.log();
    char byte = 0;
    QCOMPARE(library.close(handle), Sub20::NotOpen);
    QCOMPARE(library.irConfig(handle, 38000, 10, 1, 10), Sub20::NotOpen);
    QCOMPARE(library.irTx(handle, 1, &byte), Sub20::NotOpen);
    QCOMPARE(library.rsTiming(handle, 2, 0, 1000, 1000), Sub20::NotOpen);
    QCOMPARE(library.rsXfer(handle, &byte, 1, &byte, 1), Sub20::NotOpen);
    QCOMPARE(adapter.log(), before);
}

void TestSub20::foreignHandlesAreNeverPassedOn()
{
    SimulatedAdapter adapter;
    int foreign = 0;
    char byte = 0;
    for (const sub_handle handle : {sub_handle(), sub_handle(&foreign)}) {
        QCOMPARE(library.close(handle), Sub20::NotOpen);
        QCOMPARE(library.irTx(handle, 1, &byte), Sub20::NotOpen);
        QCOMPARE(library.rsXfer(handle, &byte, 1, &byte, 1), Sub20::NotOpen);
    }
    QCOMPARE(adapter.log(), QStringList());
}

void TestSub20::reopenedHandleIsGoodAgain()
{
    SimulatedAdapter adapter;
    const sub_handle first = library.open(nullptr);
    QCOMPARE(library.close(first), 0);
    adapter.set("REUSE_HANDLE", "1");
    // Any of the closed handles may come again.
    const sub_handle second = library.open(nullptr);
    QCOMPARE(library.irConfig(second, 38000, 10, 1, 10), 0);
    QCOMPARE(library.close(second), 0);
    const sub_handle third = library.open(nullptr);
    QCOMPARE(third, second);
    QCOMPARE(library.irConfig(third, 38000, 10, 1, 10), 0);
    QCOMPARE(library.close(third), 0);
    QCOMPARE(library.close(third), Sub20::NotOpen);
    QCOMPARE(adapter.calls(QStringLiteral("misuse")), QStringList());
}

void TestSub20::handleIsClosedEvenIfClosingFails()
{
    SimulatedAdapter adapter;
    adapter.set("FAIL", "sub_close:1:-9");
    const sub_handle handle = library.open(nullptr);
    QCOMPARE(library.close(handle), -9);
    QCOMPARE(library.close(handle), Sub20::NotOpen);
    QCOMPARE(adapter.calls(QStringLiteral("sub_close")).size(), 1);
}

QTEST_GUILESS_MAIN(TestSub20)
#include "tst_sub20.moc"
