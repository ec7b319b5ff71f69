// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/bytes.h"
#include "tests/support/emitterlog.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QSpinBox>

#include <algorithm>

namespace {

constexpr int ChunkSize = 32;
constexpr int RequestOverhead = 12;
const QString Exchange = QStringLiteral("sub_rs_xfer");

/// The panel's copy of an image: an odd last chunk is filled up to whole registers.
QByteArray padded(const QByteArray &image)
{
    return image.size() % 2 == 0 ? image : image + '\0';
}

/// The library's calls in a whole upload. Without a reply for a broadcast, with an echo otherwise.
QStringList callsOfUpload(qsizetype size, bool isBroadcast = false)
{
    QStringList calls{QStringLiteral("sub_open null = h")};
    qsizetype records = 0;
    for (qsizetype sent = 0; sent < size; sent += ChunkSize, ++records) {
        const qsizetype chunk = std::min(size - sent, qsizetype{ChunkSize});
        const qsizetype request = RequestOverhead + chunk + chunk % 2;
        calls += QStringLiteral("sub_rs_timing h 2 0 %1 10000 = 0").arg(isBroadcast ? 10000 : 1000000);
        calls += QStringLiteral("sub_rs_xfer h %1 62 = %2").arg(request).arg(isBroadcast ? 0 : request);
    }
    calls += QStringLiteral("infrared frames=0 good=0 damaged=0 duplicates=0 out-of-order=0");
    calls +=
        QStringLiteral("modbus requests=%1 records=%1 bad-crc=0 other-address=0 broadcasts=%2 exceptions=0")
            .arg(records)
            .arg(isBroadcast ? records : 0);
    calls += QStringLiteral("sub_close h = 0");
    return calls;
}

/// What the emitter reports of a whole upload.
QStringList signalsOfUpload(qsizetype size)
{
    const int total = static_cast<int>(size / ChunkSize);
    return signalsOfSending(total, size % ChunkSize == 0 ? total : total + 1) +
           QStringList{QStringLiteral("load_progress %1").arg(total)};
}

} // namespace

/// Uploads by Modbus over the adapter's RS-485 port, from the press on the button to the panel.
class AdapterUploadTest : public TestCase
{
    Q_OBJECT

private slots:
    // First, since nothing takes the library away again once it was found.
    void withoutTheLibrary();

    void wholeImage_data();
    void wholeImage();
    void thePanelIsAddressed();
    void aBroadcastGoesWithoutReplies();

    void noAdapterOpens_data();
    void noAdapterOpens();
    void anExchangeFails_data();
    void anExchangeFails();
    void aRefusedTimingEndsNothing();
    void theImageDoesNotOpen_data();
    void theImageDoesNotOpen();
    void stopEndsWithinOneRecord();
};

void AdapterUploadTest::withoutTheLibrary()
{
    WindowBench bench(Sub20::instance());
    bench.settings.setValue(QStringLiteral("settings/connection_type"), 2);
    const MessageLog log;
    bench.start(ModbusText, unevenBytes(100));
    QCOMPARE(log.texts().filter(QStringLiteral("SUB-20 library not used")).size(), 1);
    const EmitterLog heard(*bench.probe().emitter());
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    const QString text = QStringLiteral("Can't open SUB-20");
    QCOMPARE(boxes.informativeTexts(), QStringList{text});
    QCOMPARE(heard.lines(), QStringList{ErrorPrefix + text});
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(log.count(CanceledText), 1);
    verifySessionEnded(bench, false);
}

void AdapterUploadTest::wholeImage_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("one byte") << 1;
    QTest::newRow("two records") << 64;
    QTest::newRow("one record and one byte") << 33;
    QTest::newRow("three records and four bytes") << 100;
    QTest::newRow("256 records") << 8192;
    QTest::newRow("257 records") << 8194;
}

void AdapterUploadTest::wholeImage()
{
    QFETCH(const int, size);
    const QByteArray image = unevenBytes(size);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    const qsizetype before = adapter.log().size();
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), padded(image));
    QCOMPARE(withoutHandles(adapter.log().mid(before)), callsOfUpload(size));
    QCOMPARE(heard.lines(), signalsOfUpload(size));
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(boxes.contents().isEmpty());
    QVERIFY(!QGuiApplication::overrideCursor());
    verifySessionEnded(bench, true);
}

void AdapterUploadTest::thePanelIsAddressed()
{
    const QByteArray image = unevenBytes(64);
    SimulatedAdapter adapter;
    adapter.set("ADDRESS", "23");
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd()); // the panel at 0x50 is another one
    QCOMPARE(bench.probe().future().result(), 138);
    QCOMPARE(boxes.informativeTexts(), QStringList{QStringLiteral("Modbus Timeout")});
    QCOMPARE(adapter.modbusImage(), QByteArray());

    bench.widget<QSpinBox>("spinBoxAdress")->setValue(17); // shown behind "0x"
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
}

void AdapterUploadTest::aBroadcastGoesWithoutReplies()
{
    const QByteArray image = unevenBytes(100);
    constexpr int PausesMs = 4 * 100;
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    bench.widget<QSpinBox>("spinBoxAdress")->setValue(0);
    const qsizetype before = adapter.log().size();
    const EmitterLog heard(*bench.probe().emitter());
    const MessageBoxes boxes;
    QElapsedTimer timer;
    timer.start();
    bench.press();
    QVERIFY(bench.waitForEnd());
    QVERIFY(timer.elapsed() >= PausesMs);
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
    QCOMPARE(withoutHandles(adapter.log().mid(before)), callsOfUpload(image.size(), true));
    QCOMPARE(heard.lines(), signalsOfUpload(image.size()));
    QVERIFY(boxes.contents().isEmpty());
    verifySessionEnded(bench, true);
}

void AdapterUploadTest::noAdapterOpens_data()
{
    QTest::addColumn<QByteArray>("failure");
    QTest::newRow("the adapter was pulled out") << QByteArray();
    QTest::newRow("the adapter refuses") << QByteArray("sub_open:1:0");
}

void AdapterUploadTest::noAdapterOpens()
{
    QFETCH(const QByteArray, failure);
    const QByteArray image = unevenBytes(96);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    adapter.set("FAIL", failure);
    adapter.setAdapters(failure.isEmpty() ? 0 : 1);
    const qsizetype before = adapter.log().size();
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    const QString text = QStringLiteral("Can't open SUB-20");
    QCOMPARE(heard.lines(), QStringList{ErrorPrefix + text});
    QCOMPARE(boxes.informativeTexts(), QStringList{text});
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(log.count(CanceledText), 1);
    QCOMPARE(adapter.log().mid(before), QStringList{QStringLiteral("sub_open null = null")});
    verifySessionEnded(bench, false);

    adapter.set("FAIL", "");
    adapter.setAdapters(1);
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
}

void AdapterUploadTest::anExchangeFails_data()
{
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("exchanges"); // up to the failure, with it
    QTest::addColumn<int>("records");   // that the panel has got
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, const QByteArray &plan, int exchanges, int records, int result,
                        const char *text) {
        QTest::newRow(name) << plan.left(plan.indexOf('=')) << plan.mid(plan.indexOf('=') + 1) << exchanges
                            << records << result << QString::fromLatin1(text);
    };
    // The library's result comes back without its sign; the text is that of its error variable.
    row("library error", "FAIL=sub_rs_xfer:5:-7:99", 5, 4, 7, "sub_rs_xfer: simulated adapter error 99");
    row("library error at once", "FAIL=sub_rs_xfer:1:-7", 1, 0, 7, "sub_rs_xfer: simulated adapter error -7");
    row("no text", "FAIL=sub_rs_xfer:5:-7;sub_strerror:1:0", 5, 4, 7, "sub_rs_xfer: ");
    row("pulled out half way", "PULL_OUT=6", 6, 5, 5, "sub_rs_xfer: simulated adapter error -5");
    row("silence", "RS=silent,from-record=4", 5, 4, 138, "Modbus Timeout");
    row("silence at once", "RS=silent", 1, 0, 138, "Modbus Timeout");
    row("too late", "RS=late-ms=1500,from-record=4", 5, 5, 138, "Modbus Timeout");
    row("exception 4", "RS=exception=4,from-record=2", 3, 2, 40, "Modbus Exception: Slave Device Failure");
    row("unknown exception", "RS=exception=11,from-record=4", 5, 4, 40, "Modbus Exception: 11 - Unknown");
    row("CRC", "RS=flip-crc,from-record=4", 5, 5, 104, "CRC error");
    row("CRC's first byte", "RS=flip-crc-low,from-record=4", 5, 5, 104, "CRC error");
    row("CRC's last byte", "RS=flip-crc-high,from-record=4", 5, 5, 104, "CRC error");
    row("one byte", "RS=cut=1,from-record=4", 5, 5, 32, "Frame incomplete (sz=1)\n");
    row("two bytes", "RS=cut=2,from-record=4", 5, 5, 32, "Frame incomplete (sz=2)\n");
    row("three bytes", "RS=cut=3,from-record=4", 5, 5, 104, "CRC error");
    row("half a reply", "RS=split=20,from-record=4", 5, 5, 104, "CRC error");
    row("more than fits", "RS=oversize=255,from-record=4", 5, 5, 104, "CRC error");
}

void AdapterUploadTest::anExchangeFails()
{
    QFETCH(const QByteArray, variable);
    QFETCH(const QByteArray, value);
    QFETCH(const int, exchanges);
    QFETCH(const int, records);
    QFETCH(const int, result);
    QFETCH(const QString, text);
    const QByteArray image = unevenBytes(10 * ChunkSize);
    SimulatedAdapter adapter;
    adapter.set(variable, value);
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), result);
    QCOMPARE(boxes.informativeTexts(), QStringList{text});
    QCOMPARE(heard.lines(), signalsOfSending(10, exchanges - 1));
    QCOMPARE(log.count(CanceledText), 0);
    QCOMPARE(adapter.calls(Exchange).size(), exchanges);
    QCOMPARE(adapter.modbusImage(), image.left(qsizetype{records} * ChunkSize));
    QCOMPARE(handleFaults(adapter.log()), QStringList());
    verifySessionEnded(bench, false);

    adapter.set(variable, "");
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterUploadTest::aRefusedTimingEndsNothing()
{
    const QByteArray image = unevenBytes(96);
    SimulatedAdapter adapter;
    adapter.set("FAIL", "sub_rs_timing:1:-3");
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
    QVERIFY(boxes.contents().isEmpty());
}

void AdapterUploadTest::theImageDoesNotOpen_data()
{
    addImagesThatDoNotOpen();
}

void AdapterUploadTest::theImageDoesNotOpen()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    verifyImageDoesNotOpen(bench, ModbusText);
    QCOMPARE(adapter.calls(QStringLiteral("sub_open")), QStringList());
}

void AdapterUploadTest::stopEndsWithinOneRecord()
{
    const QByteArray image = unevenBytes(300 * ChunkSize);
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "30");
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QTRY_VERIFY(heard.lines().contains(QStringLiteral("load_progress 3")));
    bench.press();
    const qsizetype sent = adapter.calls(Exchange).size();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), -1);
    const qsizetype sentAtLast = adapter.calls(Exchange).size();
    QVERIFY2(sentAtLast <= sent + 1, qPrintable(QString::number(sentAtLast - sent)));
    QVERIFY(sentAtLast < 300);
    QCOMPARE(heard.lines(), signalsOfSending(300, static_cast<int>(sentAtLast)));
    QVERIFY(boxes.contents().isEmpty());
    QCOMPARE(log.texts(), QStringList{CanceledText});
    QCOMPARE(adapter.modbusImage(), image.left(sentAtLast * ChunkSize));
    QCOMPARE(handleFaults(adapter.log()), QStringList());
    verifySessionEnded(bench, false);
}

QTEST_MAIN(AdapterUploadTest)
#include "tst_adapterupload.moc"
