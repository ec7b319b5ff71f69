// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"

#include "modbus/crc16.h"

#include <QDebug>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <span>
#include <tuple>

namespace {

constexpr std::int32_t WriteFileRecordTimeoutMs = 1000;
constexpr std::int32_t ReadDeviceIdTimeoutMs = 100;
/// What the adapter waits after a broadcast, which no panel answers.
constexpr std::int32_t BroadcastReplyTimeoutMs = 10;
constexpr std::int32_t LongestIncompleteReply = 2;
/// What the request buffer has room for beside the CRC.
constexpr std::int32_t LongestRequest =
    static_cast<std::int32_t>(std::tuple_size_v<rtu::FrameBuffer>) - rtu::CrcSize;
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

void Modbus::crcAppend(std::uint8_t *frame, std::int32_t &length)
{
    const std::uint16_t crc = rtu::crc16({frame, static_cast<std::size_t>(length)});
    frame[length++] = static_cast<std::uint8_t>(crc & 0xFFU);
    frame[length++] = static_cast<std::uint8_t>(crc >> 8U);
}

std::int32_t Modbus::transaction(sub_handle sub20Handle, std::int32_t requestLength, std::int32_t timeoutMs)
{
    const bool hasLink = sub20Handle || serialPort;
    if (!hasLink || requestLength < 0 || requestLength > LongestRequest)
        return MB_TX_FAILED;
    const bool broadcast = requestBuffer[0] == rtu::BroadcastAddress;
    crcAppend(requestBuffer.data(), requestLength);
    dumpFrame(rtu::FrameDirection::Sent, requestBuffer.data(), requestLength);

    const std::int32_t count =
        sub20Handle ? xferSub20(sub20Handle, requestLength, broadcast ? BroadcastReplyTimeoutMs : timeoutMs)
                    : xferCom(requestLength);
    if (count < 0)
        return -count;
    if (count > 0)
        dumpFrame(rtu::FrameDirection::Received, replyBuffer.data(), count);
    if (broadcast) {
        QThread::msleep(static_cast<unsigned long>(broadcastDelay));
        return MB_OK;
    }
    return checkReply(count);
}

std::int32_t Modbus::checkReply(std::int32_t count)
{
    replySize = count;
    if (count <= LongestIncompleteReply) {
        emit errorString(QStringLiteral("Frame incomplete (sz=%1)\n").arg(count));
        return MB_FRAME_INCOMPLETE;
    }
    const std::span<const std::uint8_t> reply = received(count);
    if (!rtu::crcMatches(reply)) {
        emit errorString(QStringLiteral("CRC error"));
        return MB_CRC_ERROR;
    }
    if (!rtu::isException(reply))
        return MB_OK;
    emit errorString(QStringLiteral("Modbus Exception: ") + rtu::exceptionText(reply[ExceptionCodeOffset]));
    return MB_EXCEPTION;
}

std::int32_t Modbus::writeFileRecord(sub_handle sub20Handle, quint8 slaveAddress, quint16 fileNumber,
                                     quint16 recordNumber, std::int32_t dataLength, const std::uint8_t *data)
{
    if (dataLength < 0 || dataLength > rtu::MaxRecordDataSize || (dataLength > 0 && !data))
        return MB_TX_FAILED;
    const std::int32_t length = rtu::buildWriteFileRecord(
        requestBuffer, slaveAddress, fileNumber, recordNumber, {data, static_cast<std::size_t>(dataLength)});
    const std::int32_t result = transaction(sub20Handle, length, WriteFileRecordTimeoutMs);
    if (lineEcho && !sub20Handle && result == MB_LINE_ECHO_WRONG)
        emit errorString(lineEchoText(recordNumber));
    if (result != MB_OK || !replyChecked || slaveAddress == rtu::BroadcastAddress ||
        isEcho(length + rtu::CrcSize))
        return result;
    emit errorString(
        QStringLiteral("The panel's reply to record %1 is not the echo of the request").arg(recordNumber));
    return MB_NO_ECHO;
}

bool Modbus::isEcho(std::int32_t requestLength) const
{
    const auto request = std::span(requestBuffer).first(static_cast<std::size_t>(requestLength));
    return std::ranges::equal(request, received(replySize));
}

std::span<const std::uint8_t> Modbus::received(std::int32_t count) const
{
    return std::span(replyBuffer).first(static_cast<std::size_t>(count));
}

std::int32_t Modbus::readDeviceId(sub_handle sub20Handle, quint8 slaveAddress, quint8 readDeviceIdCode,
                                  quint8 objectId)
{
    const std::int32_t length =
        rtu::buildReadDeviceId(requestBuffer, slaveAddress, readDeviceIdCode, objectId);
    const std::int32_t result = transaction(sub20Handle, length, ReadDeviceIdTimeoutMs);
    if (result == MB_OK && slaveAddress != rtu::BroadcastAddress) {
        // The values are written raw: they may hold zero bytes.
        const QByteArray text = rtu::identityText(slaveAddress, replyBuffer);
        std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
        std::fflush(stdout);
    }
    return result;
}

void Modbus::dumpFrame(rtu::FrameDirection direction, const std::uint8_t *bytes, std::int32_t length) const
{
    if (traceFlag != 0)
        qInfo().noquote() << rtu::dumpText(direction, {bytes, static_cast<std::size_t>(length)});
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
