// SPDX-License-Identifier: MIT
#include "tests/modbus/seriallink.h"
#include "tests/support/outputcapture.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QTimer>

#include <cerrno>
#include <future>
#include <thread>

/// How a request goes out and a reply comes in over a serial port: sizes, pauses and time-outs.
class TestComTransport : public TestCase
{
    Q_OBJECT

private slots:
    void silentPanelTakesTenSeconds();
    void requestComesAfterThePause();
    void lateReplyIsAwaited();
    void replyDuringTheRequestCounts();
    void strayBytesStandBeforeTheNextReply_data();
    void strayBytesStandBeforeTheNextReply();
    void echoEndsAtItsLength();
    void replySize_data();
    void replySize();
    void secondBurstIsNotAwaited_data();
    void secondBurstIsNotAwaited();
    void pacedReplyIsTakenAsFarAsItCame();
    void repliesAfterOneAnother();
    void hangUpEndsTheWait_data();
    void hangUpEndsTheWait();
    void lineThatIsGoneAlreadyEndsTheWait();
    void closedPortIsAFailedWrite();
    void staleErrorNumberIsNotPrinted();
    void readErrorIsPassedOn();
    void wokenWithoutBytesIsATimeout();
    void bytesWrittenSaysHowMany();
    void delayIsNeverShorter_data();
    void delayIsNeverShorter();
    void delayIsNotEndedByBytes();
    void delayLetsEventsGoOn();
};

namespace {

/// Half of the time that a reply may take: mostly it is milliseconds, but a machine may be busy.
constexpr qint64 GoneLimitMs = 5000;

const QString RxTimeout = QStringLiteral("debug: modbus_RTU_COM: rx timeout");

} // namespace

void TestComTransport::silentPanelTakesTenSeconds()
{
    PanelProcess panel({QStringLiteral("--silent")});
    SerialLink link(panel.path());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 138);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 10050 && elapsed < 13000, qPrintable(QString::number(elapsed)));
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, RxTimeout}));
}

void TestComTransport::requestComesAfterThePause()
{
    Pty pty;
    SerialLink link(pty.path());
    QElapsedTimer timer;
    timer.start();
    std::future<qint64> arrival =
        std::async(std::launch::async, [&] { return pty.waitForBytes(5000) ? timer.elapsed() : -1; });
    QCOMPARE(link.writeChunk(0), 0);
    const qint64 elapsed = arrival.get();
    QVERIFY2(elapsed >= 50, qPrintable(QString::number(elapsed)));
}

void TestComTransport::lateReplyIsAwaited()
{
    PanelProcess panel({QStringLiteral("--late-ms"), QStringLiteral("700")});
    SerialLink link(panel.path());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 0);
    QVERIFY(timer.elapsed() >= 750);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten});
}

void TestComTransport::replyDuringTheRequestCounts()
{
    // The panel answers from a thread of its own: now and then before the port has done with the request.
    constexpr int Chunks = 20;
    Pty pty;
    SerialLink link(pty.path());
    const std::jthread panel([&pty](const std::stop_token &stop) {
        while (!stop.stop_requested()) {
            if (pty.waitForBytes(10))
                pty.send(pty.take());
        }
    });
    QElapsedTimer timer;
    timer.start();
    for (quint16 record = 0; record < Chunks; ++record)
        QCOMPARE(link.writeChunk(80, record), 0);
    QVERIFY(timer.elapsed() < 9000);
}

void TestComTransport::strayBytesStandBeforeTheNextReply_data()
{
    QTest::addColumn<QByteArray>("stray");
    QTest::newRow("1 byte") << QByteArray::fromHex("5A");
    QTest::newRow("2 bytes") << QByteArray::fromHex("5A5A");
    QTest::newRow("5 bytes") << QByteArray::fromHex("5A5A5A5A5A");
}

void TestComTransport::strayBytesStandBeforeTheNextReply()
{
    QFETCH(QByteArray, stray);
    Pty pty;
    SerialLink link(pty.path());
    FrameBuffer echo{};
    const QByteArray data = countingBytes(0, 32);
    qint32 length = buildWriteFileRecord(echo, 80, 0, 0, byteView(data));
    Modbus::crcAppend(echo.data(), length);
    const QByteArray reply(reinterpret_cast<const char *>(echo.data()), length);
    pty.answer(reply);
    QCOMPARE(link.writeChunk(), 0);
    link.events.take();

    pty.take();
    pty.send(stray);
    pty.answer(reply);
    QCOMPARE(link.writeChunk(), 104);
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, QStringLiteral("error: CRC error")}));
}

void TestComTransport::echoEndsAtItsLength()
{
    PanelProcess panel({QStringLiteral("--trailing"), QStringLiteral("5")});
    SerialLink link(panel.path());
    link.modbus.setTraceFlag(1);
    QCOMPARE(link.writeChunk(), 0);
    const QString dump = link.events.take().constLast();
    QVERIFY2(dump.startsWith(QStringLiteral("info: <-- 50|15|27 ")), qPrintable(dump));
    QVERIFY2(!dump.contains(QStringLiteral("5A")), qPrintable(dump));
    QCOMPARE(link.port.bytesAvailable(), 5);
}

void TestComTransport::replySize_data()
{
    QTest::addColumn<QString>("size");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("events");

    const QStringList overflow{ChunkWritten, QStringLiteral("debug: RX buffer overflow")};
    QTest::newRow("longest") << QStringLiteral("255") << 0 << QStringList{ChunkWritten};
    QTest::newRow("one too many") << QStringLiteral("256") << 27 << overflow;
    QTest::newRow("far too many") << QStringLiteral("4000") << 27 << overflow;
}

void TestComTransport::replySize()
{
    QFETCH(QString, size);
    PanelProcess panel({QStringLiteral("--oversize"), size});
    SerialLink link(panel.path());
    QTEST(link.writeChunk(), "result");
    QTEST(link.events.take(), "events");
}

void TestComTransport::secondBurstIsNotAwaited_data()
{
    QTest::addColumn<QString>("split");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");

    QTest::newRow("behind 1 byte") << QStringLiteral("1") << 32
                                   << QStringLiteral("error: Frame incomplete (sz=1)\n");
    QTest::newRow("behind 2 bytes") << QStringLiteral("2") << 32
                                    << QStringLiteral("error: Frame incomplete (sz=2)\n");
    QTest::newRow("behind 8 bytes") << QStringLiteral("8") << 104 << QStringLiteral("error: CRC error");
}

void TestComTransport::secondBurstIsNotAwaited()
{
    QFETCH(QString, split);
    QFETCH(int, result);
    QFETCH(QString, text);
    PanelProcess panel(
        {QStringLiteral("--split"), split, QStringLiteral("--split-gap-ms"), QStringLiteral("3000")});
    SerialLink link(panel.path());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), result);
    QVERIFY(timer.elapsed() < 3000);
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, text}));
}

void TestComTransport::pacedReplyIsTakenAsFarAsItCame()
{
    PanelProcess panel({QStringLiteral("--paced")});
    SerialLink link(panel.path());
    const qint32 result = link.writeChunk();
    const QString text = link.events.take().mid(1).join(u'|');
    // How many bytes are there at the first look is the machine's affair; what follows from them is not.
    if (result == 32)
        QVERIFY2(QRegularExpression(QStringLiteral("^error: Frame incomplete \\(sz=[12]\\)\n$"))
                     .match(text)
                     .hasMatch(),
                 qPrintable(text));
    else if (result == 104)
        QCOMPARE(text, QStringLiteral("error: CRC error"));
    else
        QCOMPARE(std::pair(result, text), std::pair(0, QString()));
}

void TestComTransport::repliesAfterOneAnother()
{
    constexpr int Records = 10;
    PanelProcess panel;
    SerialLink link(panel.path());
    QElapsedTimer timer;
    timer.start();
    for (quint16 record = 0; record < Records; ++record)
        QCOMPARE(link.writeChunk(80, record), 0);
    QVERIFY(timer.elapsed() >= Records * (50 + 2));
    QCOMPARE(panel.image().size(), Records * 32);
    QCOMPARE(link.events.take().count(ChunkWritten), Records);
}

void TestComTransport::hangUpEndsTheWait_data()
{
    QTest::addColumn<QString>("misbehaviour");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("lastEvent");

    QTest::newRow("instead of a reply") << QStringLiteral("--hang-up") << 138 << RxTimeout;
    QTest::newRow("during the wait") << QStringLiteral("--hang-up --late-ms 300") << 138 << RxTimeout;
    QTest::newRow("within a reply") << QStringLiteral("--hang-up --cut 10") << 104
                                    << QStringLiteral("error: CRC error");
}

void TestComTransport::hangUpEndsTheWait()
{
    QFETCH(QString, misbehaviour);
    PanelProcess panel(misbehaviour.split(u' '));
    SerialLink link(panel.path());
    QElapsedTimer timer;
    timer.start();
    QTEST(link.writeChunk(), "result");
    QVERIFY(timer.elapsed() < GoneLimitMs);
    QTEST(link.events.take().constLast(), "lastEvent");
}

void TestComTransport::lineThatIsGoneAlreadyEndsTheWait()
{
    Pty pty;
    SerialLink link(pty.path());
    pty.hangUp();
    for (int request = 0; request < 2; ++request) {
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(link.writeChunk(), 138);
        QVERIFY(timer.elapsed() < GoneLimitMs);
        QCOMPARE(link.events.take().constLast(), RxTimeout);
    }
}

void TestComTransport::closedPortIsAFailedWrite()
{
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("QSerialPort::flush.*: device not open")));
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QSerialPort): device not open");
    SerialLink link(QStringLiteral("nowhere"), QIODevice::NotOpen);
    OutputCapture output;
    const qint32 result = link.writeChunk();
    const QByteArray text = output.finish();
    QCOMPARE(result, 1);
    QCOMPARE(text, QByteArray("Modbus Tx Failed(-1): Input/output error\n"));
    QCOMPARE(link.events.take(), QStringList());
}

void TestComTransport::staleErrorNumberIsNotPrinted()
{
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QSerialPort): ReadOnly device");
    Pty pty;
    SerialLink link(pty.path(), QIODevice::ReadOnly);
    OutputCapture output;
    errno = ENOMEM;
    const qint32 result = link.writeChunk();
    const QByteArray text = output.finish();
    QCOMPARE(result, 1);
    QCOMPARE(text, QByteArray("Modbus Tx Failed(-1): Input/output error\n"));
}

void TestComTransport::readErrorIsPassedOn()
{
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::read (QSerialPort): WriteOnly device");
    Pty pty;
    SerialLink link(pty.path(), QIODevice::WriteOnly);
    QTimer::singleShot(200, &link.modbus, SLOT(getData()));
    QCOMPARE(link.writeChunk(), 1);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten});
}

void TestComTransport::wokenWithoutBytesIsATimeout()
{
    Pty pty;
    SerialLink link(pty.path());
    QTimer::singleShot(200, &link.modbus, SLOT(getData()));
    QCOMPARE(link.writeChunk(), 138);
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, RxTimeout}));
}

void TestComTransport::bytesWrittenSaysHowMany()
{
    MessageLog log;
    Modbus modbus;
    modbus.bytesWritten(0);
    modbus.bytesWritten(5'000'000'000);
    QCOMPARE(log.take(), (QStringList{QStringLiteral("debug: 0 bytes written..."),
                                      QStringLiteral("debug: 5000000000 bytes written...")}));
}

void TestComTransport::delayIsNeverShorter_data()
{
    QTest::addColumn<int>("ms");

    for (const int ms : {0, 1, 30, 250})
        QTest::addRow("%d ms", ms) << ms;
}

void TestComTransport::delayIsNeverShorter()
{
    QFETCH(int, ms);
    Modbus modbus;
    QElapsedTimer timer;
    timer.start();
    modbus.delay(ms);
    const qint64 elapsed = timer.nsecsElapsed();
    QVERIFY2(elapsed >= ms * 1'000'000LL, qPrintable(QString::number(elapsed)));
    QVERIFY(elapsed < 5'000'000'000);
}

void TestComTransport::delayIsNotEndedByBytes()
{
    Modbus modbus;
    QTimer::singleShot(10, &modbus, SLOT(getData()));
    QElapsedTimer timer;
    timer.start();
    modbus.delay(200);
    QVERIFY(timer.elapsed() >= 200);
}

void TestComTransport::delayLetsEventsGoOn()
{
    Modbus modbus;
    bool seen = false;
    QTimer::singleShot(0, &modbus, [&] { seen = true; });
    modbus.delay(100);
    QVERIFY(seen);
}

QTEST_GUILESS_MAIN(TestComTransport)
#include "tst_comtransport.moc"
