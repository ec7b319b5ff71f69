// SPDX-License-Identifier: MIT
// Modbus: one request out and one reply in, over a SUB-20's RS-485 port or a serial port.
#include "modbus/modbus.h"

#include <QDebug>
#include <QSerialPort>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>

namespace {

/// What the flags ask of the adapter is not known: nothing but the library's makers could say. They are
/// passed exactly so.
constexpr int RsTimingFlags = 2;
constexpr int RsTransmitSpacingUs = 0;
constexpr int RsInterByteTimeoutUs = 10000;
constexpr int MicrosecondsPerMillisecond = 1000;
/// The most that the adapter receives in one exchange.
constexpr std::size_t RsReceiveSize = 62;

/// Lets the panel's receiver see the silence that ends the frame before.
constexpr unsigned long RequestPauseMs = 50;
constexpr int WriteTimeoutMs = 500;
constexpr int ReplyTimeoutMs = 10000;
constexpr unsigned long FirstBytePauseMs = 2;
constexpr qint32 LongestReply = 255;

} // namespace

void Modbus::setSerialPort(QSerialPort *port)
{
    serialPort = port;
    // A port that is pulled out reports it again and again, and no reply will come: the wait ends at once.
    connect(port, &QSerialPort::errorOccurred, this, [this] {
        if (lineIsGone())
            replyLoop.exit(0);
    });
}

bool Modbus::lineIsGone() const
{
    const QSerialPort::SerialPortError error = serialPort->error();
    return error == QSerialPort::ResourceError || error == QSerialPort::ReadError;
}

qint32 Modbus::xferSub20(sub_handle handle, qint32 requestLength, qint32 timeoutMs)
{
    Sub20 &library = *adapter;
    // Whether the adapter accepted the times is not looked at: the exchange shows it.
    library.rsTiming(handle, RsTimingFlags, RsTransmitSpacingUs, timeoutMs * MicrosecondsPerMillisecond,
                     RsInterByteTimeoutUs);
    const auto request = std::span(requestBuffer).first(static_cast<std::size_t>(requestLength));
    const auto [count, errorText] =
        library.rsXfer(handle, request, std::span(replyBuffer).first(RsReceiveSize));
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

qint32 Modbus::xferCom(qint32 requestLength)
{
    serialPort->flush();
    QThread::msleep(RequestPauseMs);
    if (!sendRequest(requestLength))
        return -MB_TX_FAILED;
    replyBuffer.fill(0);
    if (requestBuffer[0] == BroadcastAddress)
        return 0;
    // A quick reply can come in while the request is still being written.
    if (!replyArrived)
        awaitBytes(ReplyTimeoutMs);
    return readReply();
}

bool Modbus::sendRequest(qint32 requestLength)
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
void Modbus::awaitBytes(int timeoutMs)
{
    if (lineIsGone())
        return;
    replyTimer->start(timeoutMs);
    replyLoop.exec();
    replyTimer->stop();
}

/// Reads the byte that follows the first `count` bytes of the reply. When the port has none, an incomplete
/// reply may pause for the reply gap.
qint64 Modbus::readByte(qint32 count)
{
    char *const byte = reinterpret_cast<char *>(replyBuffer.data()) + count;
    const qint64 size = serialPort->read(byte, 1);
    if (size != 0 || replyGap == 0 ||
        isCompleteException({replyBuffer.data(), static_cast<std::size_t>(count)}))
        return size;
    awaitBytes(replyGap);
    if (serialPort->bytesAvailable() == 0) // this thread may have slept through the gap: one last look
        replyLoop.processEvents();
    return serialPort->read(byte, 1);
}

qint32 Modbus::readReply()
{
    const qint64 first = serialPort->read(reinterpret_cast<char *>(replyBuffer.data()), 1);
    if (first < 0)
        return static_cast<qint32>(first);
    if (first == 0) {
        qDebug("modbus_RTU_COM: rx timeout");
        return -MB_TIMEOUT;
    }
    QThread::msleep(FirstBytePauseMs);
    qint32 count = 1;
    while (count <= LongestReply) {
        if (isCompleteRecordEcho({replyBuffer.data(), static_cast<std::size_t>(count)}))
            return count;
        if (readByte(count) <= 0)
            return count;
        ++count;
    }
    qDebug("RX buffer overflow");
    return -MB_RX_OVERFLOW;
}

void Modbus::delay(int ms)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, SIGNAL(timeout()), &replyLoop, SLOT(quit()));
    timer.start(ms);
    while (timer.isActive())
        replyLoop.exec();
}
