// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/bytes.h"
#include "tests/support/emitterlog.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

namespace {

constexpr int BlockSize = 48;
constexpr int Copies = 3;
const QString NotConnected = QStringLiteral("SUB-20 not connected!");
const QString Transmission = QStringLiteral("sub_ir_tx");

/// Runs one more update, which has to succeed: whatever happened before it.
void verifyNextRunWorks(const WindowBench &bench, const SimulatedAdapter &adapter, const QByteArray &image)
{
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.infraredImage(), image);
    verifySessionEnded(bench, true);
}

} // namespace

/// Uploads by infrared that fail: what is reported, and that the next one works.
class InfraredFailuresTest : public TestCase
{
    Q_OBJECT

private slots:
    // First, since nothing takes the library away again once it was found.
    void withoutTheLibrary();

    void noAdapterOpens_data();
    void noAdapterOpens();
    void theAdapterFails_data();
    void theAdapterFails();
    void theImageDoesNotOpen_data();
    void theImageDoesNotOpen();
};

void InfraredFailuresTest::withoutTheLibrary()
{
    WindowBench bench(Sub20::instance());
    bench.settings.setValue(QStringLiteral("settings/connection_type"), 1);
    const MessageLog log;
    bench.start(InfraRedText, unevenBytes(100));
    QCOMPARE(log.texts().filter(QStringLiteral("SUB-20 library not used")).size(), 1);
    const EmitterLog heard(*bench.probe().emitter());
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(boxes.informativeTexts(), QStringList{NotConnected});
    QCOMPARE(heard.lines(), QStringList());
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(log.count(QStringLiteral("boot run")), 1);
    QCOMPARE(log.count(CanceledText), 1);
    verifySessionEnded(bench, false);
}

void InfraredFailuresTest::noAdapterOpens_data()
{
    QTest::addColumn<QByteArray>("failure");
    QTest::newRow("the adapter was pulled out") << QByteArray();
    QTest::newRow("the adapter refuses") << QByteArray("sub_open:1:0");
}

void InfraredFailuresTest::noAdapterOpens()
{
    QFETCH(const QByteArray, failure);
    const QByteArray image = unevenBytes(96);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, image);
    adapter.set("FAIL", failure);
    adapter.setAdapters(failure.isEmpty() ? 0 : 1);
    const qsizetype before = adapter.log().size();
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(boxes.informativeTexts(), QStringList{NotConnected});
    QCOMPARE(heard.lines(), QStringList());
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(log.texts(), (QStringList{QStringLiteral("boot run"), NotConnected, CanceledText}));
    QCOMPARE(adapter.log().mid(before), QStringList{QStringLiteral("sub_open null = null")});
    verifySessionEnded(bench, false);

    adapter.set("FAIL", "");
    adapter.setAdapters(1);
    verifyNextRunWorks(bench, adapter, image);
}

void InfraredFailuresTest::theAdapterFails_data()
{
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("transmissions"); // up to the failure, with it
    QTest::addColumn<int>("received");      // blocks
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");

    const auto failure = [](const char *row, const char *plan, int result, const char *text) {
        QTest::newRow(row) << QByteArray("FAIL") << QByteArray(plan) << 0 << 0 << result
                           << QStringLiteral("SUB-20 sub_ir_config: ") + QString::fromLatin1(text);
    };
    // The text is that of the result, not of the library's error variable.
    failure("configuration", "sub_ir_config:1:7:99", 7, "simulated adapter error 7");
    failure("configuration, negative", "sub_ir_config:1:-7:99", -7, "simulated adapter error -7");
    failure("configuration, no text", "sub_ir_config:1:7;sub_strerror:1:0", 7, "");

    const auto refusal = [](const char *row, const QByteArray &plan, int transmissions, int received,
                            int result, const char *text) {
        QTest::newRow(row) << plan.left(plan.indexOf('=')) << plan.mid(plan.indexOf('=') + 1) << transmissions
                           << received << result
                           << QStringLiteral("SUB-20 sub_ir_tx: ") + QString::fromLatin1(text);
    };
    const char *const text21 = "simulated adapter error 21";
    refusal("first copy of all", "FAIL=sub_ir_tx:1:21:99", 1, 0, 21, text21);
    refusal("first copy of frame 4", "FAIL=sub_ir_tx:13:21:99", 13, 4, 21, text21);
    refusal("second copy of frame 4", "FAIL=sub_ir_tx:14:21:99", 14, 5, 21, text21);
    refusal("third copy of frame 4", "FAIL=sub_ir_tx:15:21:99", 15, 5, 21, text21);
    refusal("last copy of all", "FAIL=sub_ir_tx:30:21:99", 30, 10, 21, text21);
    refusal("no text", "FAIL=sub_ir_tx:14:21;sub_strerror:1:0", 14, 5, 21, "");
    refusal("pulled out at once", "PULL_OUT=1:-77", 1, 0, -77, "simulated adapter error -77");
    refusal("pulled out half way", "PULL_OUT=17", 17, 6, -5, "simulated adapter error -5");
}

void InfraredFailuresTest::theAdapterFails()
{
    QFETCH(const QByteArray, variable);
    QFETCH(const QByteArray, value);
    QFETCH(const int, transmissions);
    QFETCH(const int, received);
    QFETCH(const int, result);
    QFETCH(const QString, text);
    const QByteArray image = unevenBytes(10 * BlockSize);
    SimulatedAdapter adapter;
    adapter.set(variable, value);
    WindowBench bench(adapter);
    bench.start(InfraRedText, image);
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), result);
    const int complete = (transmissions - 1) / Copies;
    QCOMPARE(heard.lines(), (transmissions > 0 ? signalsOfSending(10, complete) : QStringList()) +
                                QStringList{ErrorPrefix + text});
    QCOMPARE(boxes.informativeTexts(), QStringList{text});
    QCOMPARE(log.count(CanceledText), result < 0 ? 1 : 0);
    QCOMPARE(adapter.calls(Transmission).size(), transmissions);
    QCOMPARE(adapter.infraredImage(), image.left(qsizetype{received} * BlockSize));
    QCOMPARE(handleFaults(adapter.log()), QStringList());
    verifySessionEnded(bench, false);

    adapter.set(variable, "");
    verifyNextRunWorks(bench, adapter, image);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void InfraredFailuresTest::theImageDoesNotOpen_data()
{
    addImagesThatDoNotOpen();
}

void InfraredFailuresTest::theImageDoesNotOpen()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    verifyImageDoesNotOpen(bench, InfraRedText);
    QCOMPARE(opens(adapter.log()), 1);
    QCOMPARE(adapter.calls(QStringLiteral("sub_ir_config")), QStringList());
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

QTEST_MAIN(InfraredFailuresTest)
#include "tst_infraredfailures.moc"
