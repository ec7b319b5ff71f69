// SPDX-License-Identifier: MIT
#include "tests/modbus/panelthread.h"
#include "tests/modbus/seriallink.h"
#include "tests/support/outputcapture.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

const QString Changed = QStringLiteral("error: The converter returned record 7 changed");
const QString NotAll = QStringLiteral("error: The converter did not return all of record 7");
const QString RxTimeout = QStringLiteral("debug: modbus_RTU_COM: rx timeout");
/// Longer than anything that is awaited here, on a busy machine too.
constexpr int LongGapMs = 5000;
/// The tests that go through many records take the shortest pause.
constexpr int ShortPauseMs = 4;
constexpr int ReplyTimeoutMs = 10000;
constexpr int RequestSize = 44;
/// What the line takes for them at most.
constexpr int RequestMs = 51;
constexpr std::uint16_t Record = 7;

QStringList words(const QString &text)
{
    return text.split(u' ', Qt::SkipEmptyParts);
}

simulator::Bytes bytesOf(simulator::ByteView view)
{
    return {view.begin(), view.end()};
}

/// `bytes` in pieces of `size`, a little time apart.
simulator::Schedule inPieces(const simulator::Bytes &bytes, std::size_t size)
{
    constexpr std::uint64_t ApartUs = 1500;
    simulator::Schedule schedule;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        const auto count = static_cast<std::ptrdiff_t>(std::min(size, bytes.size() - at));
        schedule.bursts.push_back({at == 0 ? 0 : ApartUs, simulator::Bytes(begin, begin + count)});
    }
    return schedule;
}

/// The panel's reply behind what has come so far: in the same piece, or in one of its own so much later.
simulator::Schedule withReply(simulator::Schedule schedule, simulator::ByteView reply, std::uint64_t laterUs)
{
    if (laterUs != 0)
        schedule.bursts.push_back({laterUs, bytesOf(reply)});
    else
        schedule.bursts.back().bytes.insert(schedule.bursts.back().bytes.end(), reply.begin(), reply.end());
    return schedule;
}

/// A link whose converter returns what is sent.
class EchoingLink : public SerialLink
{
public:
    explicit EchoingLink(const QString &path, int replyGapMs = 0) : SerialLink(path)
    {
        modbus.setLineEcho(true);
        modbus.setReplyGap(replyGapMs);
        modbus.setRequestPause(ShortPauseMs);
    }
    qint32 write(quint8 address = 80) { return writeChunk(address, Record); }
};

} // namespace

/// A serial line whose converter returns what is sent, with the echo taken off in front of the reply.
class LineEchoTest : public TestCase
{
    Q_OBJECT

private slots:
    void inPortions_data();
    void inPortions();
    void echoAndReplyInPortions_data();
    void echoAndReplyInPortions();
    void onALine_data();
    void onALine();
    void aReplyThatComesLater();
    void aReplyThatBeginsInThePortionOfTheEcho();
    void theReplyIsCheckedAsAlways_data();
    void theReplyIsCheckedAsAlways();
    void onlyTheReplyIsDumped();
    void silenceBehindTheEchoTakesTenSeconds();
    void withoutAnEchoTheReplyIsTakenForIt();
    void aWrongBitIsNoticed_data();
    void aWrongBitIsNoticed();
    void anEchoThatIsNotWhole_data();
    void anEchoThatIsNotWhole();
    void anEchoThatComesAsItsTimeEnds();
    void whatStandsInFrontOfTheReply_data();
    void whatStandsInFrontOfTheReply();
    void bytesLeftOverStandInFrontOfTheEcho();
    void aLineThatIsGoneEndsTheWait();
    void theEchoOfABroadcastIsTaken();
    void aBroadcastWithoutItsEchoFails();
    void theIdentityBehindItsEcho();
    void withoutTheOptionAnEchoConfirmsWithoutAPanel();
};

void LineEchoTest::inPortions_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("laterUs");
    for (int size = 1; size <= RequestSize; ++size) {
        QTest::addRow("%d, the reply in the last one", size) << size << 0;
        QTest::addRow("%d, the reply on its own", size) << size << 3000;
    }
}

void LineEchoTest::inPortions()
{
    QFETCH(const int, size);
    QFETCH(const int, laterUs);
    PanelThread panel([&](simulator::ByteView request) {
        return withReply(inPieces(bytesOf(request), static_cast<std::size_t>(size)), request,
                         static_cast<std::uint64_t>(laterUs));
    });
    EchoingLink link(panel.path());
    link.modbus.setReplyChecked(true);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.write(), 0);
    QVERIFY(timer.elapsed() < ReplyTimeoutMs); // or the reply is only found when it is given up
    QCOMPARE(link.port.bytesAvailable(), 0);
    QCOMPARE(link.events.take(), QStringList(ChunkWritten));
}

// The pieces do not care where the echo ends.
void LineEchoTest::echoAndReplyInPortions_data()
{
    QTest::addColumn<int>("size");
    for (int size = 1; size <= 2 * RequestSize; ++size)
        QTest::addRow("%d", size) << size;
}

void LineEchoTest::echoAndReplyInPortions()
{
    QFETCH(const int, size);
    PanelThread panel([&](simulator::ByteView request) {
        simulator::Bytes both = bytesOf(request);
        both.insert(both.end(), request.begin(), request.end());
        return inPieces(both, static_cast<std::size_t>(size));
    });
    EchoingLink link(panel.path(), LongGapMs);
    link.modbus.setReplyChecked(true);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.write(), 0);
    QVERIFY(timer.elapsed() < ReplyTimeoutMs); // or the reply is only found when it is given up
    QCOMPARE(link.port.bytesAvailable(), 0);
    QCOMPARE(link.events.take(), QStringList(ChunkWritten));
}

void LineEchoTest::onALine_data()
{
    QTest::addColumn<QString>("line");
    for (const char *const line :
         {"", "--paced", "--bursts 8", "--bursts 14", "--bursts 16", "--latency-ms 16",
          "--paced --answer-ms 200", "--latency-ms 16 --answer-ms 7", "--split 10 --split-gap-ms 100"})
        QTest::addRow("at once%s%s", *line ? ", but " : "", line) << QString::fromLatin1(line);
}

void LineEchoTest::onALine()
{
    QFETCH(const QString, line);
    PanelProcess panel(words(QStringLiteral("--line-echo ") + line));
    EchoingLink link(panel.path(), LongGapMs);
    link.modbus.setReplyChecked(true);
    for (std::uint16_t record = 0; record < 5; ++record)
        QCOMPARE(link.writeChunk(80, record), 0);
    QCOMPARE(panel.finish().value(QStringLiteral("records")), 5);
}

void LineEchoTest::aReplyThatComesLater()
{
    // Later than the echo may come: it has a time-out of its own.
    PanelProcess panel(words(QStringLiteral("--line-echo --late-ms 1500")));
    EchoingLink link(panel.path());
    QCOMPARE(link.write(), 0);
    QCOMPARE(link.events.take(), QStringList(ChunkWritten));
}

// Without a reply gap the rest of it is not awaited, as without an echo.
void LineEchoTest::aReplyThatBeginsInThePortionOfTheEcho()
{
    PanelThread panel([](simulator::ByteView request) {
        const simulator::Bytes rest = bytesOf(request.subspan(2));
        return withReply(withReply({{{0, bytesOf(request)}}}, request.first(2), 0), rest, 3'000'000);
    });
    EchoingLink link(panel.path());
    QCOMPARE(link.write(), 32);
    QCOMPARE(link.events.take(),
             (QStringList{ChunkWritten, QStringLiteral("error: Frame incomplete (sz=2)\n")}));
}

void LineEchoTest::theReplyIsCheckedAsAlways_data()
{
    QTest::addColumn<QString>("misbehaviour");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("event");
    const auto row = [](const char *misbehaviour, int result, const char *event) {
        QTest::newRow(misbehaviour) << QString::fromLatin1(misbehaviour) << result
                                    << QString::fromLatin1(event);
    };
    row("--exception 2", 40, "error: Modbus Exception: Illegal Data Address");
    row("--exception 4 --paced", 40, "error: Modbus Exception: Slave Device Failure");
    row("--flip-crc", 104, "error: CRC error");
    row("--flip-crc --paced", 104, "error: CRC error");
    row("--flip-crc-low --late-ms 50", 104, "error: CRC error");
    row("--cut 2", 32, "error: Frame incomplete (sz=2)\n");
    row("--cut 43", 104, "error: CRC error");
    row("--oversize 300", 27, "debug: RX buffer overflow");
}

void LineEchoTest::theReplyIsCheckedAsAlways()
{
    QFETCH(const QString, misbehaviour);
    QFETCH(const QString, event);
    PanelProcess panel(words(QStringLiteral("--line-echo ") + misbehaviour));
    EchoingLink link(panel.path(), misbehaviour.contains(QStringLiteral("--cut")) ? 300 : LongGapMs);
    QTEST(link.write(), "result");
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, event}));
}

void LineEchoTest::onlyTheReplyIsDumped()
{
    PanelProcess panel(words(QStringLiteral("--line-echo --exception 2")));
    EchoingLink link(panel.path());
    link.modbus.setTraceFlag(1);
    QCOMPARE(link.write(), 40);
    const QStringList events = link.events.take();
    QCOMPARE(events.size(), 4);
    QVERIFY(events[0].startsWith(QStringLiteral("info: --> 50|15|27 06 00 00 00 07 ")));
    QCOMPARE(events[1], ChunkWritten);
    QCOMPARE(events[2], QStringLiteral("info: <-- 50|95|02 9F_40 "));
}

void LineEchoTest::silenceBehindTheEchoTakesTenSeconds()
{
    constexpr int EchoMs = 800;
    PanelThread panel([](simulator::ByteView request) {
        return simulator::Schedule{{{std::uint64_t{EchoMs} * 1000, bytesOf(request)}}};
    });
    EchoingLink link(panel.path(), LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.write(), 138);
    QVERIFY2(timer.elapsed() >= ShortPauseMs + EchoMs + ReplyTimeoutMs,
             qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, RxTimeout}));
}

// A panel's reply is the request as well. So the option on a line without echo ends every update.
void LineEchoTest::withoutAnEchoTheReplyIsTakenForIt()
{
    PanelProcess panel;
    EchoingLink link(panel.path());
    QCOMPARE(link.write(), 138);
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, RxTimeout}));
}

void LineEchoTest::aWrongBitIsNoticed_data()
{
    QTest::addColumn<int>("at");
    for (int at = 0; at < RequestSize; ++at)
        QTest::addRow("byte %d", at) << at;
}

void LineEchoTest::aWrongBitIsNoticed()
{
    QFETCH(const int, at);
    PanelThread panel([at](simulator::ByteView request) {
        simulator::Bytes echo = bytesOf(request);
        echo[static_cast<std::size_t>(at)] ^= static_cast<std::uint8_t>(1U << (at % 8));
        return withReply({{{0, echo}}}, request, 0);
    });
    EchoingLink link(panel.path());
    QCOMPARE(link.write(), int{MB_LINE_ECHO_WRONG});
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, Changed}));
}

void LineEchoTest::anEchoThatIsNotWhole_data()
{
    QTest::addColumn<QString>("cut");
    for (const char *const cut : {"0", "1", "22", "43", "22 --paced", "43 --latency-ms 16"})
        QTest::newRow(cut) << QString::fromLatin1(cut);
}

void LineEchoTest::anEchoThatIsNotWhole()
{
    QFETCH(const QString, cut);
    PanelProcess panel(words(QStringLiteral("--silent --line-echo --line-echo-cut ") + cut));
    EchoingLink link(panel.path(), LongGapMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.write(), int{MB_LINE_ECHO_WRONG});
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= ShortPauseMs + RequestMs + 1000, qPrintable(QString::number(elapsed)));
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, NotAll}));
}

// The link's thread may be late, so it looks once more before it takes the echo for cut.
void LineEchoTest::anEchoThatComesAsItsTimeEnds()
{
    Pty pty;
    EchoingLink link(pty.path());
    bool timeEnded = false;
    connect(link.modbus.findChild<QTimer *>(), &QTimer::timeout, this, [&] {
        if (std::exchange(timeEnded, true))
            return;
        const QByteArray request = pty.take();
        pty.send(request + request); // its echo, and the panel's
    });
    QCOMPARE(link.write(), 0);
    QVERIFY(timeEnded);
}

void LineEchoTest::whatStandsInFrontOfTheReply_data()
{
    QTest::addColumn<QString>("converter");
    for (const char *const converter :
         {"--line-echo-flip", "--line-echo-flip --paced", "--line-echo-cut 22", "--line-echo-cut 43 --paced",
          "--line-echo-collide", "--line-echo-collide --bursts 14", "--line-echo-flip --silent"})
        QTest::newRow(converter) << QString::fromLatin1(converter);
}

void LineEchoTest::whatStandsInFrontOfTheReply()
{
    QFETCH(const QString, converter);
    PanelProcess panel(words(QStringLiteral("--line-echo ") + converter));
    EchoingLink link(panel.path(), LongGapMs);
    QCOMPARE(link.write(), int{MB_LINE_ECHO_WRONG});
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, Changed}));
}

void LineEchoTest::bytesLeftOverStandInFrontOfTheEcho()
{
    PanelProcess panel(words(QStringLiteral("--line-echo --trailing 2")));
    EchoingLink link(panel.path());
    QCOMPARE(link.writeChunk(), 0);
    QCOMPARE(link.port.bytesAvailable(), 2);
    QCOMPARE(link.write(), int{MB_LINE_ECHO_WRONG});
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, ChunkWritten, Changed}));
}

// A machine that stands still may make one try as long as the time for an echo; not all of them.
void LineEchoTest::aLineThatIsGoneEndsTheWait()
{
    constexpr int MostTries = 20;
    bool endedEarlier = false;
    for (int tries = 0; tries < MostTries && !endedEarlier; ++tries) {
        PanelProcess panel(words(QStringLiteral("--line-echo --line-echo-cut 22 --hang-up")));
        EchoingLink link(panel.path());
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(link.write(), int{MB_LINE_ECHO_WRONG});
        endedEarlier = timer.elapsed() < Modbus::LineEchoSlackMs;
        QCOMPARE(link.events.take(), (QStringList{ChunkWritten, NotAll}));
    }
    QVERIFY(endedEarlier);
}

void LineEchoTest::theEchoOfABroadcastIsTaken()
{
    PanelProcess panel(words(QStringLiteral("--line-echo --paced")));
    EchoingLink link(panel.path(), LongGapMs);
    QCOMPARE(link.write(0), 0);
    QCOMPARE(link.port.bytesAvailable(), 0);
    QCOMPARE(link.writeChunk(), 0);
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, ChunkWritten}));
    QCOMPARE(panel.finish().value(QStringLiteral("broadcasts")), 1);
}

void LineEchoTest::aBroadcastWithoutItsEchoFails()
{
    PanelProcess silent;
    EchoingLink link(silent.path());
    QCOMPARE(link.write(0), int{MB_LINE_ECHO_WRONG});
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, NotAll}));

    PanelProcess damaging(words(QStringLiteral("--line-echo --line-echo-flip")));
    link.port.close();
    link.port.setPortName(damaging.path());
    QVERIFY(link.port.open(QIODevice::ReadWrite));
    QCOMPARE(link.write(0), int{MB_LINE_ECHO_WRONG});
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, Changed}));
}

void LineEchoTest::theIdentityBehindItsEcho()
{
    PanelProcess panel({QStringLiteral("--line-echo")});
    EchoingLink link(panel.path());
    OutputCapture output;
    const qint32 result = link.modbus.readDeviceId(nullptr, 80, 1, 0);
    const QByteArray text = output.finish();
    QCOMPARE(result, 0);
    QVERIFY2(text.contains("Product Code  : ZEPHYRIN"), text.constData());
}

// The trap: what the converter returns is what a panel would confirm with, also to whoever compares it.
void LineEchoTest::withoutTheOptionAnEchoConfirmsWithoutAPanel()
{
    PanelProcess panel(words(QStringLiteral("--line-echo --silent --paced")));
    SerialLink link(panel.path());
    link.modbus.setReplyGap(LongGapMs);
    link.modbus.setReplyChecked(true);
    QCOMPARE(link.writeChunk(), 0);
    QCOMPARE(link.writeChunk(), 0);
    QCOMPARE(panel.finish().value(QStringLiteral("records")), 0);
}

QTEST_GUILESS_MAIN(LineEchoTest)
#include "tst_lineecho.moc"
