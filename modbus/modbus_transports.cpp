// SPDX-License-Identifier: MIT
// Modbus: one request out and one reply in, over a SUB-20's RS-485 port or a serial port.
#include "modbus/modbus.h"
#include "modbus/porterror.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>

using rtu::BroadcastAddress;

namespace {

/// What the flags ask of the adapter is not known: nothing but the library's makers could say. They are
/// passed exactly so.
constexpr int RsTimingFlags = 2;
constexpr int RsTransmitSpacingUs = 0;
constexpr int RsInterByteTimeoutUs = 10000;
constexpr int MicrosecondsPerMillisecond = 1000;
/// What the library's number of microseconds has room for.
constexpr int LongestTimeoutMs = INT_MAX / MicrosecondsPerMillisecond;
/// The most that the adapter receives in one exchange.
constexpr std::size_t RsReceiveSize = 62;

constexpr int WriteTimeoutMs = 500;
constexpr int ReplyTimeoutMs = 10000;
constexpr int FirstBytePauseMs = 2;

/// Whether a request of so many bytes, CRC included, fits into its buffer.
bool isRequest(std::int32_t length)
{
    return length >= 0 && length <= static_cast<std::int32_t>(rtu::FrameBuffer().size());
}

/// Sleeps for `ms`. A single sleep may end a little early, on Windows above all.
void sleepAtLeast(std::int32_t ms)
{
    const QDeadlineTimer end(ms, Qt::PreciseTimer);
    while (!end.hasExpired())
        QThread::msleep(static_cast<unsigned long>(std::max<qint64>(end.remainingTime(), 0)));
}

} // namespace

void Modbus::setSerialPort(QSerialPort *port)
{
    if (serialPort)
        disconnect(serialPort, &QSerialPort::errorOccurred, this, &Modbus::noteError);
    serialPort = port;
    if (port)
        connect(port, &QSerialPort::errorOccurred, this, &Modbus::noteError);
}

/// A port that is pulled out reports it again and again, and no reply will come: the wait ends at once.
void Modbus::noteError(QSerialPort::SerialPortError error)
{
    if (!serialPort->isOpen() || !isLineGone(error))
        return;
    lineGone = true;
    if (awaitingReply)
        replyLoop.exit(0);
}

std::int32_t Modbus::xferSub20(sub_handle handle, std::int32_t requestLength, std::int32_t timeoutMs)
{
    if (!isRequest(requestLength))
        return -MB_TX_FAILED;
    // Whether the adapter accepted the times is not looked at: the exchange shows it.
    adapter->rsTiming(handle, RsTimingFlags, RsTransmitSpacingUs,
                      std::clamp(timeoutMs, 0, LongestTimeoutMs) * MicrosecondsPerMillisecond,
                      RsInterByteTimeoutUs);
    const auto request = std::span(requestBuffer).first(static_cast<std::size_t>(requestLength));
    const auto [count, errorText] =
        adapter->rsXfer(handle, request, std::span(replyBuffer).first(RsReceiveSize));
    if (count < 0) {
        emit errorString(QStringLiteral("sub_rs_xfer: %1").arg(errorText));
        return count;
    }
    if (count == 0 && requestBuffer[0] != BroadcastAddress) {
        emit errorString(tr("Modbus Timeout"));
        return -MB_TIMEOUT;
    }
    return count;
}

std::int32_t Modbus::xferCom(std::int32_t requestLength)
{
    if (!serialPort || !isRequest(requestLength))
        return -MB_TX_FAILED;
    lineGone = false;
    serialPort->flush();
    sleepAtLeast(requestPause);
    const QDeadlineTimer echoEnd(LineEchoSlackMs + rtu::lineTimeMs(requestLength, rtu::MostBitsPerByte),
                                 Qt::PreciseTimer);
    if (!sendRequest(requestLength))
        return -MB_TX_FAILED;
    replyBuffer.fill(0);
    if (lineEcho && !takeLineEcho(requestLength, echoEnd))
        return -MB_LINE_ECHO_WRONG;
    if (requestBuffer[0] == BroadcastAddress)
        return 0;
    // A quick reply can begin while the request is still being written. What follows it within the pause
    // behind a reply's first bytes belongs to it.
    if (replyArrived)
        delay(FirstBytePauseMs);
    else
        awaitBytes(ReplyTimeoutMs);
    return readReply();
}

bool Modbus::sendRequest(std::int32_t requestLength)
{
    // What is still to come of an earlier reply is taken in before: it does not end the wait for this one.
    serialPort->waitForReadyRead(0);
    replyArrived = false;
    errno = 0;
    const qint64 written =
        serialPort->write(reinterpret_cast<const char *>(requestBuffer.data()), requestLength);
    const int error = errno != 0 ? errno : EIO; // the port refused without asking the system
    if (written < requestLength) {
        std::printf("Modbus Tx Failed(%d): %s\n", static_cast<int>(written), std::strerror(error));
        std::fflush(stdout);
        return false;
    }
    serialPort->waitForBytesWritten(WriteTimeoutMs);
    return true;
}

/// Returns when bytes come in, when the time is up, or when the line is gone.
void Modbus::awaitBytes(std::int32_t timeoutMs)
{
    if (lineGone)
        return;
    replyTimer->start(timeoutMs);
    awaitingReply = true;
    replyLoop.exec();
    awaitingReply = false;
    replyTimer->stop();
}

/// Reads the byte that follows the first `count` bytes of the reply. When the port has none, an incomplete
/// reply may pause for the reply gap, but not beyond `replyEnd`.
qint64 Modbus::readByte(std::int32_t count, const QDeadlineTimer &replyEnd)
{
    char *const byte = reinterpret_cast<char *>(replyBuffer.data()) + count;
    const qint64 size = serialPort->read(byte, 1);
    if (size != 0 || replyGap == 0 || rtu::isCompleteException(received(count)))
        return size;
    awaitBytes(static_cast<std::int32_t>(std::min<qint64>(replyGap, replyEnd.remainingTime())));
    if (serialPort->bytesAvailable() == 0) // this thread may have slept through the gap: one last look
        serialPort->waitForReadyRead(0);
    return serialPort->read(byte, 1);
}

std::int32_t Modbus::readReply()
{
    const QDeadlineTimer replyEnd(LongestReplyMs + GapsPerReply * qint64{replyGap}, Qt::PreciseTimer);
    const qint64 first = serialPort->read(reinterpret_cast<char *>(replyBuffer.data()), 1);
    if (first < 0)
        return static_cast<std::int32_t>(first);
    if (first == 0) {
        qDebug("modbus_RTU_COM: rx timeout");
        return -MB_TIMEOUT;
    }
    QThread::msleep(FirstBytePauseMs);
    std::int32_t count = 1;
    while (count <= LongestReply) {
        if (rtu::isCompleteRecordEcho(received(count)))
            return count;
        if (readByte(count, replyEnd) <= 0)
            return count;
        ++count;
    }
    qDebug("RX buffer overflow");
    return -MB_RX_OVERFLOW;
}

void Modbus::delay(std::int32_t ms)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, SIGNAL(timeout()), &replyLoop, SLOT(quit()));
    timer.start(std::max(ms, 0));
    replyLoop.exec();
}
