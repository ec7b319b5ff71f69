// SPDX-License-Identifier: MIT
#include "tests/modbus/panelthread.h"
#include "tests/modbus/seriallink.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <future>

/// How a request goes out and a reply comes in over a serial port: sizes, pauses and time-outs.
class ComTransportTest : public TestCase
{
    Q_OBJECT

private slots:
    void silentPanelTakesTenSeconds();
    void requestComesAfterThePause();
    void writingMayTakeHalfASecond();
    void lateReplyIsAwaited();
    void replyDuringTheRequestCounts_data();
    void replyDuringTheRequestCounts();
    void strayBytesStandBeforeTheNextReply_data();
    void strayBytesStandBeforeTheNextReply();
    void echoEndsAtItsLength();
    void replySize_data();
    void replySize();
    void secondBurstIsNotAwaited_data();
    void secondBurstIsNotAwaited();
    void replyIsTakenAsFarAsItCame_data();
    void replyIsTakenAsFarAsItCame();
    void requestKeepsItsDistance();
    void wokenWithoutBytesIsATimeout();
};

namespace {

const QString RxTimeout = QStringLiteral("debug: modbus_RTU_COM: rx timeout");

} // namespace

void ComTransportTest::silentPanelTakesTenSeconds()
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

void ComTransportTest::requestComesAfterThePause()
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

// A line that takes nothing: the request stays with the port, and is given up for written.
void ComTransportTest::writingMayTakeHalfASecond()
{
    Pty pty;
    SerialLink link(pty.path());
    pty.stuff();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(0), 0);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 50 + 500 && elapsed < 5000, qPrintable(QString::number(elapsed)));
    QCOMPARE(link.events.take(), QStringList());
    QCOMPARE(link.port.bytesToWrite(), 44);
}

void ComTransportTest::lateReplyIsAwaited()
{
    PanelProcess panel({QStringLiteral("--late-ms"), QStringLiteral("700")});
    SerialLink link(panel.path());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 0);
    QVERIFY(timer.elapsed() >= 750);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten});
}

void ComTransportTest::replyDuringTheRequestCounts_data()
{
    QTest::addColumn<int>("during");
    for (const int during : {1, 2, 3, 8, 43, 44})
        QTest::addRow("%d bytes", during) << during;
}

// The port looks for bytes before it writes, which ends in a time-out, and while it writes. So the reply
// begins behind that look, and goes on when the request is written.
void ComTransportTest::replyDuringTheRequestCounts()
{
    QFETCH(const int, during);
    const QByteArray reply = requestWith(countingBytes(0, 32));
    Pty pty;
    SerialLink link(pty.path());
    connect(&link.port, &QSerialPort::errorOccurred, this, [&](QSerialPort::SerialPortError error) {
        if (error == QSerialPort::TimeoutError)
            pty.send(reply.left(during));
    });
    connect(&link.port, &QSerialPort::bytesWritten, this, [&] { pty.send(reply.mid(during)); });
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 0);
    QVERIFY(timer.elapsed() < 9000);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten});
}

void ComTransportTest::strayBytesStandBeforeTheNextReply_data()
{
    QTest::addColumn<QByteArray>("stray");
    QTest::newRow("1 byte") << QByteArray::fromHex("5A");
    QTest::newRow("2 bytes") << QByteArray::fromHex("5A5A");
    QTest::newRow("5 bytes") << QByteArray::fromHex("5A5A5A5A5A");
}

void ComTransportTest::strayBytesStandBeforeTheNextReply()
{
    QFETCH(QByteArray, stray);
    Pty pty;
    SerialLink link(pty.path());
    const QByteArray reply = requestWith(countingBytes(0, 32));
    pty.answer(reply);
    QCOMPARE(link.writeChunk(), 0);
    link.events.take();

    pty.take();
    pty.send(stray);
    pty.answer(reply);
    QCOMPARE(link.writeChunk(), 104);
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, QStringLiteral("error: CRC error")}));
}

void ComTransportTest::echoEndsAtItsLength()
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

void ComTransportTest::replySize_data()
{
    QTest::addColumn<QString>("size");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("events");

    const QStringList overflow{ChunkWritten, QStringLiteral("debug: RX buffer overflow")};
    QTest::newRow("longest") << QStringLiteral("255") << 0 << QStringList{ChunkWritten};
    QTest::newRow("one too many") << QStringLiteral("256") << 27 << overflow;
    QTest::newRow("far too many") << QStringLiteral("4000") << 27 << overflow;
}

void ComTransportTest::replySize()
{
    QFETCH(QString, size);
    PanelProcess panel({QStringLiteral("--oversize"), size});
    SerialLink link(panel.path());
    QTEST(link.writeChunk(), "result");
    QTEST(link.events.take(), "events");
}

void ComTransportTest::secondBurstIsNotAwaited_data()
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

void ComTransportTest::secondBurstIsNotAwaited()
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

void ComTransportTest::replyIsTakenAsFarAsItCame_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("errors");
    for (int size = 1; size <= 44; ++size) {
        const int result = size == 44 ? 0 : size > 2 ? 104 : 32;
        const QString error = size > 2 ? QStringLiteral("error: CRC error")
                                       : QStringLiteral("error: Frame incomplete (sz=%1)\n").arg(size);
        QTest::addRow("%d", size) << size << result << (result == 0 ? QStringList() : QStringList{error});
    }
}

void ComTransportTest::replyIsTakenAsFarAsItCame()
{
    QFETCH(const int, size);
    QFETCH(const QStringList, errors);
    Pty pty;
    SerialLink link(pty.path());
    pty.answer(requestWith(countingBytes(0, 32)).left(size));
    QTEST(link.writeChunk(), "result");
    QCOMPARE(link.events.take(), QStringList{ChunkWritten} + errors);
}

// 2 ms behind the reply's first byte and 50 ms before the next request, seen from the panel. A busy machine
// adds to them, but hardly to all of thirty.
void ComTransportTest::requestKeepsItsDistance()
{
    constexpr int Records = 30;
    simulator::MisbehavingPanel model(simulator::DefaultPanelAddress, {});
    PanelThread panel([&model](simulator::ByteView request) { return model.answer(request); });
    SerialLink link(panel.path());
    auto shortest = PanelThread::Clock::duration::max();
    PanelThread::Exchange before;
    for (quint16 record = 0; record < Records; ++record) {
        QCOMPARE(link.writeChunk(80, record), 0);
        const PanelThread::Exchange exchange = panel.waitForExchange(record + 1);
        if (record > 0)
            shortest = std::min(shortest, exchange.requestSeen - before.lastPiece);
        before = exchange;
    }
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(shortest).count();
    QVERIFY2(us >= 52000, qPrintable(QString::number(us)));
    QCOMPARE(model.model().image().size(), std::size_t{Records * 32});
    QCOMPARE(link.events.take().count(ChunkWritten), Records);
}

void ComTransportTest::wokenWithoutBytesIsATimeout()
{
    Pty pty;
    SerialLink link(pty.path());
    QTimer::singleShot(200, &link.modbus, SLOT(getData()));
    QCOMPARE(link.writeChunk(), 138);
    QCOMPARE(link.events.take(), (QStringList{ChunkWritten, RxTimeout}));
}

QTEST_GUILESS_MAIN(ComTransportTest)
#include "tst_comtransport.moc"
