// SPDX-License-Identifier: MIT
#include "sub20/sub20.h"
#include "tests/support/bytes.h"
#include "tests/support/messagelog.h"
#include "tests/support/scriptedsub20.h"
#include "tests/support/testcase.h"

#include <QStringList>

#include <array>
#include <latch>
#include <limits>
#include <thread>
#include <vector>

/// What reaches the adapter's library and what does not, and what its answers become: over a table of
/// functions.
class Sub20Test : public TestCase
{
    Q_OBJECT

private slots:
    void functionsOfATableNeedNoSearch();
    void findsEachAdapter();
    void findsNoneAndLooksAgain();
    void opensTheAdapterAskedFor();
    void openFailsWithoutAdapter();
    void callsPassThrough();
    void infraredErrorIsExplainedByItsCode();
    void transferErrorIsExplainedByTheErrorVariable();
    void anotherCallDoesNotChangeTheExplanation();
    void successIsNotExplained();
    void errorTextMayBeMissing();
    void smallestResultCanBeNegated_data();
    void smallestResultCanBeNegated();
    void countBeyondTheReplyIsNotBelieved();
    void closedHandleIsNeverPassedOn();
    void foreignHandlesAreNeverPassedOn();
    void reopenedHandleIsGoodAgain();
    void handleIsClosedEvenIfClosingFails();
    void eachThreadHasItsHandle();
    void everySymbolHasItsPlaceInTheTable();
    void firstMissingSymbolIsNamed_data();
    void firstMissingSymbolIsNamed();
};

namespace {

const std::array<const char *, 9> Symbols{"sub_find_devices", "sub_open",      "sub_close",
                                          "sub_strerror",     "sub_ir_config", "sub_ir_tx",
                                          "sub_rs_timing",    "sub_rs_xfer",   "sub_errno"};

/// A library that has the first `count` symbols, each at the address of its own name.
SymbolLookup libraryWithTheFirst(int count)
{
    return [count](const char *symbol) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
            if (qstrcmp(Symbols.at(i), symbol) == 0)
                return reinterpret_cast<QFunctionPointer>(const_cast<char *>(Symbols.at(i)));
        }
        return QFunctionPointer();
    };
}

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

} // namespace

void Sub20Test::functionsOfATableNeedNoSearch()
{
    const ScriptedSub20 scripted;
    const MessageLog log;
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    QVERIFY(handle != nullptr);
    QCOMPARE(adapter.close(handle), 0);
    QCOMPARE(scripted.calls(), (QStringList{text("sub_open null"), text("sub_close h1")}));
}

void Sub20Test::findsEachAdapter()
{
    ScriptedSub20 scripted;
    scripted.adapters = 2;
    Sub20 adapter(ScriptedSub20::functions());
    const sub_device first = adapter.findDevices(nullptr);
    QVERIFY(first != nullptr);
    const sub_device second = adapter.findDevices(first);
    QVERIFY(second != nullptr);
    QVERIFY(second != first);
    QCOMPARE(adapter.findDevices(second), sub_device());
    QCOMPARE(scripted.calls(), (QStringList{text("sub_find_devices null"), text("sub_find_devices d1"),
                                            text("sub_find_devices d2")}));
}

void Sub20Test::findsNoneAndLooksAgain()
{
    ScriptedSub20 scripted;
    scripted.adapters = 0;
    Sub20 adapter(ScriptedSub20::functions());
    QCOMPARE(adapter.findDevices(nullptr), sub_device());
    scripted.adapters = 1;
    QVERIFY(adapter.findDevices(nullptr) != nullptr);
}

void Sub20Test::opensTheAdapterAskedFor()
{
    ScriptedSub20 scripted;
    scripted.adapters = 2;
    Sub20 adapter(ScriptedSub20::functions());
    QVERIFY(adapter.open(adapter.findDevices(adapter.findDevices(nullptr))) != nullptr);
    QCOMPARE(scripted.calls().constLast(), text("sub_open d2"));
}

void Sub20Test::openFailsWithoutAdapter()
{
    ScriptedSub20 scripted;
    scripted.adapters = 0;
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    QCOMPARE(handle, sub_handle());
    QCOMPARE(adapter.close(handle), Sub20::NotOpen);
    QCOMPARE(scripted.calls(), QStringList{text("sub_open null")});
}

void Sub20Test::callsPassThrough()
{
    ScriptedSub20 scripted;
    scripted.reply = QByteArray::fromHex("50150A");
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    const std::array<std::uint8_t, 3> frame{0x55, 0x00, 0xEA};
    std::array<std::uint8_t, 62> reply{};
    QCOMPARE(adapter.irConfig(handle, 38000, 10, 1, 11).value, 0);
    QCOMPARE(adapter.irTx(handle, frame).value, 0);
    QCOMPARE(adapter.rsTiming(handle, 2, 3, 1000000, 10000), 0);
    QCOMPARE(adapter.rsXfer(handle, frame, reply).value, 3);
    QCOMPARE(byteArray(std::span(reply).first(4)), QByteArray::fromHex("50150A00"));
    QCOMPARE(adapter.close(handle), 0);
    QCOMPARE(scripted.calls(),
             (QStringList{text("sub_open null"), text("sub_ir_config h1 38000 10 1 11"),
                          text("sub_ir_tx h1 3 5500EA"), text("sub_rs_timing h1 2 3 1000000 10000"),
                          text("sub_rs_xfer h1 5500EA 62"), text("sub_close h1")}));
}

void Sub20Test::infraredErrorIsExplainedByItsCode()
{
    ScriptedSub20 scripted;
    scripted.answer(text("sub_ir_config"), -11, 12);
    scripted.answer(text("sub_ir_tx"), 13, 14);
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    const Sub20Result refused = adapter.irConfig(handle, 38000, 10, 1, 10);
    QCOMPARE(refused.value, -11);
    QCOMPARE(refused.errorText, text("scripted error -11"));
    const Sub20Result failed = adapter.irTx(handle, {});
    QCOMPARE(failed.value, 13);
    QCOMPARE(failed.errorText, text("scripted error 13"));
}

void Sub20Test::transferErrorIsExplainedByTheErrorVariable()
{
    ScriptedSub20 scripted;
    scripted.answer(text("sub_ir_tx"), 5, 5);
    scripted.answer(text("sub_rs_xfer"), -7, 99);
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    QCOMPARE(adapter.irTx(handle, {}).value, 5); // leaves an error behind that is none of the transfer's
    const Sub20Result failed = adapter.rsXfer(handle, {}, {});
    QCOMPARE(failed.value, -7);
    QCOMPARE(failed.errorText, text("scripted error 99"));
}

void Sub20Test::anotherCallDoesNotChangeTheExplanation()
{
    ScriptedSub20 scripted;
    scripted.answer(text("sub_rs_xfer"), -7, 99);
    scripted.answer(text("sub_rs_timing"), -3, 5);
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    const sub_handle other = adapter.open(nullptr);
    // Another thread's call fails as soon as the library is called again.
    scripted.onCall = [&](const QString &call) {
        if (call.startsWith(text("sub_strerror")))
            std::thread([&] { adapter.rsTiming(other, 2, 0, 0, 0); }).join();
    };
    const Sub20Result failed = adapter.rsXfer(handle, {}, {});
    QCOMPARE(ScriptedSub20::errorNumber(), 5);
    QCOMPARE(failed.errorText, text("scripted error 99"));
}

void Sub20Test::successIsNotExplained()
{
    ScriptedSub20 scripted;
    scripted.answer(text("sub_rs_xfer"), 0, 99);
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    QCOMPARE(adapter.irConfig(handle, 38000, 10, 1, 10).errorText, QString());
    QCOMPARE(adapter.irTx(handle, {}).errorText, QString());
    QCOMPARE(adapter.rsXfer(handle, {}, {}).errorText, QString());
    QCOMPARE(scripted.calls(text("sub_strerror")), QStringList());
}

void Sub20Test::errorTextMayBeMissing()
{
    ScriptedSub20 scripted;
    scripted.hasErrorTexts = false;
    scripted.answer(text("sub_ir_tx"), -5);
    Sub20 adapter(ScriptedSub20::functions());
    const Sub20Result failed = adapter.irTx(adapter.open(nullptr), {});
    QCOMPARE(failed.value, -5);
    QCOMPARE(failed.errorText, QString());
    QCOMPARE(scripted.calls().constLast(), text("sub_strerror -5"));
}

void Sub20Test::smallestResultCanBeNegated_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("value");

    constexpr int Smallest = std::numeric_limits<int>::min();
    QTest::newRow("smallest") << Smallest << Smallest + 1;
    QTest::newRow("next") << Smallest + 1 << Smallest + 1;
    QTest::newRow("any other") << -70000 << -70000;
}

void Sub20Test::smallestResultCanBeNegated()
{
    QFETCH(int, result);
    ScriptedSub20 scripted;
    scripted.answer(text("sub_rs_xfer"), result, 99);
    Sub20 adapter(ScriptedSub20::functions());
    const Sub20Result failed = adapter.rsXfer(adapter.open(nullptr), {}, {});
    QTEST(failed.value, "value");
    QCOMPARE(failed.errorText, text("scripted error 99"));
}

void Sub20Test::countBeyondTheReplyIsNotBelieved()
{
    ScriptedSub20 scripted;
    scripted.answer(text("sub_rs_xfer"), 5000);
    Sub20 adapter(ScriptedSub20::functions());
    std::array<std::uint8_t, 62> reply{};
    QCOMPARE(adapter.rsXfer(adapter.open(nullptr), {}, reply).value, 62);
}

void Sub20Test::closedHandleIsNeverPassedOn()
{
    ScriptedSub20 scripted;
    scripted.answer(text("sub_close"), 0, 7); // an error that has nothing to do with what follows
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    QCOMPARE(adapter.close(handle), 0);
    const QStringList before = scripted.calls();
    QCOMPARE(adapter.close(handle), Sub20::NotOpen);
    QCOMPARE(adapter.rsTiming(handle, 2, 0, 1000, 1000), Sub20::NotOpen);
    for (const Sub20Result &result : {adapter.irConfig(handle, 38000, 10, 1, 10), adapter.irTx(handle, {}),
                                      adapter.rsXfer(handle, {}, {})}) {
        QCOMPARE(result.value, Sub20::NotOpen);
        QCOMPARE(result.errorText, QString());
    }
    QCOMPARE(scripted.calls(), before);
}

void Sub20Test::foreignHandlesAreNeverPassedOn()
{
    const ScriptedSub20 scripted;
    Sub20 adapter(ScriptedSub20::functions());
    Sub20 otherBinding(ScriptedSub20::functions());
    const sub_handle elsewhere = otherBinding.open(nullptr);
    const QStringList before = scripted.calls();
    for (const sub_handle handle : {sub_handle(), elsewhere}) {
        QCOMPARE(adapter.close(handle), Sub20::NotOpen);
        QCOMPARE(adapter.irTx(handle, {}).value, Sub20::NotOpen);
        QCOMPARE(adapter.rsXfer(handle, {}, {}).value, Sub20::NotOpen);
    }
    QCOMPARE(scripted.calls(), before);
}

void Sub20Test::reopenedHandleIsGoodAgain()
{
    ScriptedSub20 scripted;
    scripted.handlesReturn = true;
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle first = adapter.open(nullptr);
    QCOMPARE(adapter.close(first), 0);
    const sub_handle second = adapter.open(nullptr);
    QCOMPARE(second, first);
    QCOMPARE(adapter.irConfig(second, 38000, 10, 1, 10).value, 0);
    QCOMPARE(adapter.close(second), 0);
    QCOMPARE(adapter.close(second), Sub20::NotOpen);
    QCOMPARE(scripted.calls(text("sub_close")).size(), 2);
}

void Sub20Test::handleIsClosedEvenIfClosingFails()
{
    ScriptedSub20 scripted;
    scripted.answer(text("sub_close"), -9);
    Sub20 adapter(ScriptedSub20::functions());
    const sub_handle handle = adapter.open(nullptr);
    QCOMPARE(adapter.close(handle), -9);
    QCOMPARE(adapter.close(handle), Sub20::NotOpen);
    QCOMPARE(scripted.calls(text("sub_close")).size(), 1);
}

void Sub20Test::eachThreadHasItsHandle()
{
    constexpr int Threads = 4;
    constexpr int Rounds = 300000;
    Sub20Functions table; // with nothing that would keep the threads apart
    table.open = [](sub_device device) -> sub_handle { return device; };
    table.close = [](sub_handle) { return 0; };
    table.irTx = [](sub_handle, int, char *) { return 0; };
    Sub20 adapter(table);
    std::array<int, Threads> good{};
    std::latch start(Threads); // or the first thread is done before the last one begins
    std::vector<std::thread> threads;
    for (int &count : good) {
        threads.emplace_back([&adapter, &start, &count] {
            start.arrive_and_wait();
            for (int round = 0; round < Rounds; ++round) {
                const sub_handle handle = adapter.open(&count);
                const bool sent = adapter.irTx(handle, {}).value == 0;
                if (sent && adapter.close(handle) == 0 && adapter.irTx(handle, {}).value == Sub20::NotOpen)
                    ++count;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (const int count : good)
        QCOMPARE(count, Rounds);
}

void Sub20Test::everySymbolHasItsPlaceInTheTable()
{
    Sub20Functions table;
    QCOMPARE(resolveSub20Functions(table, libraryWithTheFirst(Symbols.size())), QString());
    const std::array<const void *, Symbols.size()> entries{reinterpret_cast<const void *>(table.findDevices),
                                                           reinterpret_cast<const void *>(table.open),
                                                           reinterpret_cast<const void *>(table.close),
                                                           reinterpret_cast<const void *>(table.errorText),
                                                           reinterpret_cast<const void *>(table.irConfig),
                                                           reinterpret_cast<const void *>(table.irTx),
                                                           reinterpret_cast<const void *>(table.rsTiming),
                                                           reinterpret_cast<const void *>(table.rsXfer),
                                                           table.lastError};
    for (std::size_t i = 0; i < Symbols.size(); ++i)
        QCOMPARE(static_cast<const char *>(entries.at(i)), Symbols.at(i));
}

void Sub20Test::firstMissingSymbolIsNamed_data()
{
    QTest::addColumn<int>("present");
    for (std::size_t i = 0; i < Symbols.size(); ++i)
        QTest::newRow(Symbols.at(i)) << static_cast<int>(i);
}

void Sub20Test::firstMissingSymbolIsNamed()
{
    QFETCH(int, present);
    Sub20Functions table;
    QCOMPARE(resolveSub20Functions(table, libraryWithTheFirst(present)), text(QTest::currentDataTag()));
}

QTEST_GUILESS_MAIN(Sub20Test)
#include "tst_sub20.moc"
