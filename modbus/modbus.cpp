// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"

#include "modbus/crc16.h"

#include <QDebug>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <tuple>

namespace {

constexpr qint32 WriteFileRecordTimeoutMs = 1000;
constexpr qint32 ReadDeviceIdTimeoutMs = 100;
/// What the adapter waits after a broadcast, which no panel answers.
constexpr qint32 BroadcastReplyTimeoutMs = 10;
constexpr qint32 LongestIncompleteReply = 2;
/// What the request buffer has room for beside the CRC.
constexpr qint32 LongestRequest = static_cast<qint32>(std::tuple_size_v<FrameBuffer>) - CrcSize;
constexpr std::size_t ExceptionCodeOffset = 2;

} // namespace

Modbus::Modbus(QObject *parent) : QObject(parent), replyTimer(new QTimer(this))
{
    // A coarse timer may fire 5 % early.
    replyTimer->setTimerType(Qt::PreciseTimer);
    connect(replyTimer, SIGNAL(timeout()), &replyLoop, SLOT(quit()));
}

Modbus::~Modbus()
{
    replyTimer->stop();
    disconnect(replyTimer, SIGNAL(timeout()), &replyLoop, SLOT(quit()));
    delete replyTimer;
}

void Modbus::crcAppend(std::uint8_t *frame, qint32 &length)
{
    const std::uint16_t crc = crc16({frame, static_cast<std::size_t>(length)});
    frame[length++] = static_cast<std::uint8_t>(crc & 0xFFU);
    frame[length++] = static_cast<std::uint8_t>(crc >> 8U);
}

qint32 Modbus::transaction(sub_handle sub20Handle, qint32 requestLength, qint32 timeoutMs)
{
    const bool hasLink = sub20Handle || serialPort;
    if (!hasLink || requestLength < 0 || requestLength > LongestRequest)
        return MB_TX_FAILED;
    const bool broadcast = requestBuffer[0] == BroadcastAddress;
    crcAppend(requestBuffer.data(), requestLength);
    dumpFrame(FrameDirection::Sent, requestBuffer.data(), requestLength);

    const qint32 count =
        sub20Handle ? xferSub20(sub20Handle, requestLength, broadcast ? BroadcastReplyTimeoutMs : timeoutMs)
                    : xferCom(requestLength);
    if (count < 0)
        return -count;
    if (count > 0)
        dumpFrame(FrameDirection::Received, replyBuffer.data(), count);
    if (broadcast) {
        QThread::msleep(static_cast<unsigned long>(broadcastDelay));
        return MB_OK;
    }
    return checkReply(count);
}

qint32 Modbus::checkReply(qint32 count)
{
    replySize = count;
    if (count <= LongestIncompleteReply) {
        emit errorString(QStringLiteral("Frame incomplete (sz=%1)\n").arg(count));
        return MB_FRAME_INCOMPLETE;
    }
    const auto reply = std::span(replyBuffer).first(static_cast<std::size_t>(count));
    if (!crcMatches(reply)) {
        emit errorString(QStringLiteral("CRC error"));
        return MB_CRC_ERROR;
    }
    if (!isException(reply))
        return MB_OK;
    emit errorString(QStringLiteral("Modbus Exception: ") + exceptionText(reply[ExceptionCodeOffset]));
    return MB_EXCEPTION;
}

qint32 Modbus::writeFileRecord(sub_handle sub20Handle, quint8 slaveAddress, quint16 fileNumber,
                               quint16 recordNumber, qint32 dataLength, const std::uint8_t *data)
{
    if (dataLength < 0 || dataLength > MaxRecordDataSize)
        return MB_TX_FAILED;
    const qint32 length = buildWriteFileRecord(requestBuffer, slaveAddress, fileNumber, recordNumber,
                                               {data, static_cast<std::size_t>(dataLength)});
    const qint32 result = transaction(sub20Handle, length, WriteFileRecordTimeoutMs);
    if (result != MB_OK || !replyChecked || slaveAddress == BroadcastAddress || isEcho(length + CrcSize))
        return result;
    emit errorString(
        QStringLiteral("The panel's reply to record %1 is not the echo of the request").arg(recordNumber));
    return MB_NO_ECHO;
}

bool Modbus::isEcho(qint32 requestLength) const
{
    return std::equal(requestBuffer.begin(), requestBuffer.begin() + requestLength, replyBuffer.begin(),
                      replyBuffer.begin() + replySize);
}

qint32 Modbus::readDeviceId(sub_handle sub20Handle, quint8 slaveAddress, quint8 readDeviceIdCode,
                            quint8 objectId)
{
    const qint32 length = buildReadDeviceId(requestBuffer, slaveAddress, readDeviceIdCode, objectId);
    const qint32 result = transaction(sub20Handle, length, ReadDeviceIdTimeoutMs);
    if (result == MB_OK && slaveAddress != BroadcastAddress) {
        // The values are written raw: they may hold zero bytes.
        const QByteArray text = identityText(slaveAddress, replyBuffer);
        std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
        std::fflush(stdout);
    }
    return result;
}

void Modbus::dumpFrame(FrameDirection direction, const std::uint8_t *bytes, qint32 length) const
{
    if (traceFlag != 0)
        qInfo().noquote() << dumpText(direction, {bytes, static_cast<std::size_t>(length)});
}

void Modbus::getData()
{
    replyArrived = true;
    if (awaitingReply) // a mere pause, delay(), is not ended by bytes
        replyLoop.exit(0);
}

void Modbus::bytesWritten(qint64 bytes)
{
    qDebug("%lld bytes written...", bytes);
}
