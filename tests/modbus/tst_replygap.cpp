// SPDX-License-Identifier: MIT
#include "tests/modbus/panelthread.h"
#include "tests/modbus/seriallink.h"
#include "tests/support/outputcapture.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QTimer>

#include <utility>

namespace {

const QString RxTimeout = QStringLiteral("debug: modbus_RTU_COM: rx timeout");
const QString CrcError = QStringLiteral("error: CRC error");
/// Longer than anything that is awaited here, on a busy machine too.
constexpr int LongGapMs = 5000;
/// Before a request.
constexpr int PauseMs = 50;

QStringList words(const QString &text)
{
    return text.split(u' ', Qt::SkipEmptyParts);
}

} // namespace

/// Replies that come in pieces, with a reply gap and without.
class ReplyGapTest : public TestCase
{
    Q_OBJECT

private slots:
    void withoutAGapTheFirstPieceIsAll_data();
    void withoutAGapTheFirstPieceIsAll();
    void withoutAGapNoNoticeIsTakenIn();
    void withAGapTheRestIsAwaited_data();
    void withAGapTheRestIsAwaited();
    void aPauseLongerThanTheGapEndsTheReply();
    void aReplyThatDribblesHasAnEnd();
    void aReplyMayPauseTwice();
    void bytesThatComeAsTheGapEnds();
    void pacedLines_data();
    void pacedLines();
    void exceptionsOnPacedLines_data();
    void exceptionsOnPacedLines();
    void exceptionsAreNotAwaited_data();
    void exceptionsAreNotAwaited();
    void faultsStay_data();
    void faultsStay();
    void silenceTakesTenSeconds();
    void trailingBytesAreLeft();
    void hangUpEndsTheWait_data();
    void hangUpEndsTheWait();
    void aPanelThatHangsUpInTheMiddleOfAPacedReply();
    void identityOnAPacedLine();

private:
    static void addLines();
};

void ReplyGapTest::addLines()
{
    QTest::addColumn<QString>("line");
    for (const char *const line : {"--paced", "--bursts 8", "--bursts 14", "--bursts 16", "--latency-ms 16"})
        QTest::newRow(line) << QString::fromLatin1(line);
}

void ReplyGapTest::withoutAGapTheFirstPieceIsAll_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");
    QTest::newRow("1") << 1 << 32 << QStringLiteral("error: Frame incomplete (sz=1)\n");
    QTest::newRow("2") << 2 << 32 << QStringLiteral("error: Frame incomplete (sz=2)\n");
    for (const int size : {3, 8, 14, 16, 43})
        QTest::addRow("%d", size) << size << 104 << CrcError;
}

void ReplyGapTest::withoutAGapTheFirstPieceIsAll()
{
    QFETCH(const int, size);
    QFETCH(const QString, text);
    PanelProcess panel(words(QStringLiteral("--split %1 --split-gap-ms 3000").arg(size)));
    SerialLink link(panel.path());
    link.modbus.setTraceFlag(1);
    QElapsedTimer timer;
    timer.start();
    QTEST(link.writeChunk(), "result");
    QVERIFY(timer.elapsed() < 3000);
    const QStringList events = link.events.take();
    QCOMPARE(events.size(), 4); // the request, written; the reply, refused
    QString dump = events[2].mid(QStringLiteral("info: <-- ").size());
    QCOMPARE(dump.count(QRegularExpression(QStringLiteral("[0-9A-F]{2}"))), size);
    QCOMPARE(events[3], text);
}

// Not even of bytes that the system has by then.
void ReplyGapTest::withoutAGapNoNoticeIsTakenIn()
{
    const QByteArray reply = QByteArray::fromHex("01030000000AC5CD");
    Pty pty;
    SerialLink link(pty.path());
    bool hasBegun = false;
    connect(&link.port, &QSerialPort::readyRead, this, [&] {
        if (!std::exchange(hasBegun, true))
            pty.send(reply.mid(4));
    });
    pty.answer(reply.left(4));
    QCOMPARE(link.writeChunk(), 104);
    QVERIFY(hasBegun);
}

void ReplyGapTest::withAGapTheRestIsAwaited_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {1, 2, 3, 4, 5, 8, 14, 16, 43})
        QTest::addRow("%d", size) << size;
}

void ReplyGapTest::withAGapTheRestIsAwaited()
{
    QFETCH(const int, size);
    PanelProcess panel(words(QStringLiteral("--split %1 --split-gap-ms 100").arg(size)));
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 0);
    // The reply is complete by its length: nothing is awaited behind it.
    QVERIFY2(timer.elapsed() < PauseMs + 100 + LongGapMs, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(link.events.take(), QStringList(ChunkWritten));
}

void ReplyGapTest::aPauseLongerThanTheGapEndsTheReply()
{
    PanelProcess panel(words(QStringLiteral("--split 14 --split-gap-ms 5000")));
    SerialLink link(panel.path());
    link.modbus.setReplyGap(200);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 104);
    QVERIFY2(timer.elapsed() >= PauseMs + 200, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, CrcError}));
}

// Each byte comes well within the gap, but the whole reply would take half a minute.
void ReplyGapTest::aReplyThatDribblesHasAnEnd()
{
    constexpr int GapMs = 500;
    constexpr std::size_t Size = 250;
    PanelThread panel([](simulator::ByteView) {
        simulator::Schedule schedule{{{0, simulator::Bytes(10, 0xFF)}}};
        while (schedule.bursts.size() < Size)
            schedule.bursts.push_back({100'000, {0xFF}});
        return schedule;
    });
    SerialLink link(panel.path());
    link.modbus.setReplyGap(GapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 104);
    const qint64 elapsed = timer.elapsed();
    const PanelThread::Exchange exchange = panel.exchange();
    QVERIFY2(exchange.pieces < int{Size}, "the whole reply was awaited");
    if (!stoodStill(exchange, GapMs) || exchange.longestPause < std::chrono::milliseconds(GapMs))
        QVERIFY2(elapsed >= PauseMs + Modbus::LongestReplyMs + Modbus::GapsPerReply * GapMs,
                 qPrintable(QString::number(elapsed)));
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, CrcError}));
}

void ReplyGapTest::aReplyMayPauseTwice()
{
    constexpr int GapMs = 400;
    PanelThread panel([](simulator::ByteView request) {
        const auto piece = [request](std::size_t first, std::size_t end) {
            return simulator::Bytes(request.begin() + static_cast<std::ptrdiff_t>(first),
                                    request.begin() + static_cast<std::ptrdiff_t>(end));
        };
        return simulator::Schedule{
            {{0, piece(0, 8)}, {350'000, piece(8, 16)}, {350'000, piece(16, request.size())}}};
    });
    // A busy machine may make a pause longer than the gap; then it is no such reply.
    for (int attempt = 1;; ++attempt) {
        SerialLink link(panel.path());
        link.modbus.setReplyGap(GapMs);
        const qint32 result = link.writeChunk();
        if (stoodStill(panel.waitForExchange(attempt), GapMs))
            continue;
        QCOMPARE(result, 0);
        return;
    }
}

// Its thread may be late, so the link looks once more before it takes the reply for ended.
void ReplyGapTest::bytesThatComeAsTheGapEnds()
{
    const QByteArray reply = QByteArray::fromHex("01030000000AC5CD");
    Pty pty;
    SerialLink link(pty.path());
    link.modbus.setReplyGap(100);
    bool gapEnded = false;
    connect(link.modbus.findChild<QTimer *>(), &QTimer::timeout, this, [&] {
        if (!std::exchange(gapEnded, true))
            pty.send(reply.mid(4));
    });
    pty.answer(reply.left(4));
    QCOMPARE(link.writeChunk(), 0);
    QVERIFY(gapEnded);
}

void ReplyGapTest::pacedLines_data()
{
    addLines();
}

void ReplyGapTest::pacedLines()
{
    constexpr int Records = 5;
    QFETCH(const QString, line);
    PanelProcess panel(words(line));
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    for (quint16 record = 0; record < Records; ++record)
        QCOMPARE(link.writeChunk(80, record), 0);
    QCOMPARE(panel.image(), countingBytes(0, 32).repeated(Records));
    QCOMPARE(link.events.take(), QStringList(Records, ChunkWritten));
}

void ReplyGapTest::exceptionsOnPacedLines_data()
{
    addLines();
}

void ReplyGapTest::exceptionsOnPacedLines()
{
    QFETCH(const QString, line);
    PanelProcess panel(words(line + QStringLiteral(" --exception 2")));
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 40);
    QVERIFY2(timer.elapsed() < LongGapMs, "an exception ends at its length");
    QCOMPARE(link.events.take(),
             (QStringList{ChunkWritten, QStringLiteral("error: Modbus Exception: Illegal Data Address")}));
}

void ReplyGapTest::exceptionsAreNotAwaited_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("1") << 1 << QStringLiteral("Illegal Function");
    QTest::newRow("2") << 2 << QStringLiteral("Illegal Data Address");
    QTest::newRow("3") << 3 << QStringLiteral("Illegal Data Value");
    QTest::newRow("4") << 4 << QStringLiteral("Slave Device Failure");
    QTest::newRow("11") << 11 << QStringLiteral("11 - Unknown");
}

void ReplyGapTest::exceptionsAreNotAwaited()
{
    QFETCH(const QString, text);
    QFETCH(const int, code);
    PanelProcess panel({QStringLiteral("--exception"), QString::number(code)});
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 40);
    QVERIFY(timer.elapsed() < LongGapMs);
    QCOMPARE(link.events.take(),
             (QStringList{ChunkWritten, QStringLiteral("error: Modbus Exception: ") + text}));
}

void ReplyGapTest::faultsStay_data()
{
    QTest::addColumn<QString>("misbehaviour");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("events");
    const auto row = [](const char *misbehaviour, int result, const QString &event) {
        QTest::newRow(misbehaviour) << QString::fromLatin1(misbehaviour) << result
                                    << (event.isEmpty() ? QStringList{ChunkWritten}
                                                        : QStringList{ChunkWritten, event});
    };
    const QString overflow = QStringLiteral("debug: RX buffer overflow");
    row("--cut 1", 32, QStringLiteral("error: Frame incomplete (sz=1)\n"));
    row("--cut 2", 32, QStringLiteral("error: Frame incomplete (sz=2)\n"));
    row("--cut 3", 104, CrcError);
    row("--cut 43", 104, CrcError);
    row("--flip-crc", 104, CrcError);
    row("--flip-crc --paced", 104, CrcError);
    row("--exception 2 --flip-crc", 104, CrcError);
    row("--exception 2 --trailing 3", 104, CrcError);
    row("--oversize 255", 0, {});
    row("--oversize 256", 27, overflow);
    row("--oversize 4000", 27, overflow);
    row("--oversize 300 --bursts 14", 27, overflow);
}

void ReplyGapTest::faultsStay()
{
    QFETCH(const QString, misbehaviour);
    QFETCH(const int, result);
    PanelProcess panel(words(misbehaviour));
    SerialLink link(panel.path());
    // Only a reply that is cut short waits for the gap. For one that is too long, a panel that the machine
    // holds up between two bursts must not look like the end.
    link.modbus.setReplyGap(result == MB_RX_OVERFLOW ? LongGapMs : 300);
    QCOMPARE(link.writeChunk(), result);
    QTEST(link.events.take(), "events");
}

void ReplyGapTest::silenceTakesTenSeconds()
{
    PanelProcess panel({QStringLiteral("--silent")});
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 138);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 10050 && elapsed < 10050 + LongGapMs, qPrintable(QString::number(elapsed)));
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, RxTimeout}));
}

void ReplyGapTest::trailingBytesAreLeft()
{
    PanelProcess panel({QStringLiteral("--trailing"), QStringLiteral("5")});
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    QCOMPARE(link.writeChunk(), 0);
    QCOMPARE(link.port.bytesAvailable(), 5);
    QCOMPARE(link.events.take(), QStringList(ChunkWritten));
}

void ReplyGapTest::hangUpEndsTheWait_data()
{
    QTest::addColumn<QString>("misbehaviour");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("lastEvent");
    QTest::newRow("instead of a reply") << QStringLiteral("--hang-up") << 138 << RxTimeout;
    QTest::newRow("behind one byte") << QStringLiteral("--hang-up --cut 1") << 32
                                     << QStringLiteral("error: Frame incomplete (sz=1)\n");
    QTest::newRow("within the reply") << QStringLiteral("--hang-up --cut 10") << 104 << CrcError;
}

void ReplyGapTest::hangUpEndsTheWait()
{
    QFETCH(const QString, misbehaviour);
    PanelProcess panel(words(misbehaviour));
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QTEST(link.writeChunk(), "result");
    QVERIFY2(timer.elapsed() < LongGapMs, qPrintable(QString::number(timer.elapsed())));
    QTEST(link.events.take().constLast(), "lastEvent");
}

void ReplyGapTest::aPanelThatHangsUpInTheMiddleOfAPacedReply()
{
    PanelProcess panel(words(QStringLiteral("--hang-up --cut 30 --paced")));
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 104);
    QVERIFY2(timer.elapsed() < LongGapMs, qPrintable(QString::number(timer.elapsed())));
    // The next request finds the line gone.
    timer.start();
    QCOMPARE(link.writeChunk(), 138);
    QVERIFY2(timer.elapsed() < LongGapMs, qPrintable(QString::number(timer.elapsed())));
}

void ReplyGapTest::identityOnAPacedLine()
{
    PanelProcess panel({QStringLiteral("--paced")});
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    OutputCapture output;
    const qint32 result = link.modbus.readDeviceId(nullptr, 80, 1, 0);
    const QByteArray text = output.finish();
    QCOMPARE(result, 0);
    QVERIFY2(text.contains("Product Code  : ZEPHYRIN"), text.constData());
}

QTEST_GUILESS_MAIN(ReplyGapTest)
#include "tst_replygap.moc"
