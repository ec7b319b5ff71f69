// SPDX-License-Identifier: MIT
#include "modbus/frames.h"

#include "modbus/crc16.h"

#include <algorithm>
#include <cstddef>

namespace rtu {

namespace {

constexpr int RecordHeaderSize = 10;
constexpr int RecordGroupOverhead = 7; // reference type, file, record and record length of the one group
constexpr std::uint8_t RecordReferenceType = 6;
constexpr int ReadDeviceIdRequestSize = 5;

constexpr std::size_t RecordEchoMinimum = 4; // the least from which a byte count is believed
constexpr int RecordEchoOverhead = 5;        // address, function, byte count, CRC
constexpr std::uint8_t ExceptionBit = 0x80;
constexpr std::size_t ExceptionSize = 5; // address, function, exception code, CRC

constexpr std::size_t ObjectCountOffset = 7;
constexpr int FirstObjectOffset = 8;
constexpr int ObjectHeaderSize = 2;

constexpr std::size_t DumpBytesPerLine = 16;

std::uint8_t highByte(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value >> 8U);
}

std::uint8_t lowByte(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value & 0xFFU);
}

int signedByte(std::uint8_t byte)
{
    return byte <= INT8_MAX ? byte : byte - (UINT8_MAX + 1);
}

QByteArray objectLabel(std::uint8_t objectId)
{
    switch (objectId) {
    case 0:
        return QByteArrayLiteral("   Vendor        : ");
    case 1:
        return QByteArrayLiteral("   Product Code  : ");
    case 2:
        return QByteArrayLiteral("   Version       : ");
    default:
        return {};
    }
}

QString dumpSeparator(std::size_t index, std::size_t size)
{
    if (index < 2)
        return QStringLiteral("|");
    QString separator = index + CrcSize == size ? QStringLiteral("_") : QStringLiteral(" ");
    if (index % DumpBytesPerLine == DumpBytesPerLine - 1)
        separator += QStringLiteral("\n    ");
    return separator;
}

} // namespace

int buildWriteFileRecord(FrameBuffer &frame, std::uint8_t slaveAddress, std::uint16_t fileNumber,
                         std::uint16_t recordNumber, std::span<const std::uint8_t> data)
{
    const std::size_t size = data.size();
    frame[0] = slaveAddress;
    frame[1] = WriteFileRecordFunction;
    frame[2] = static_cast<std::uint8_t>(size + RecordGroupOverhead);
    frame[3] = RecordReferenceType;
    frame[4] = highByte(fileNumber);
    frame[5] = lowByte(fileNumber);
    frame[6] = highByte(recordNumber);
    frame[7] = lowByte(recordNumber);
    frame[8] = static_cast<std::uint8_t>(size >> 9U); // the length counts 16-bit registers
    frame[9] = static_cast<std::uint8_t>(size >> 1U);
    std::copy(data.begin(), data.end(), frame.begin() + RecordHeaderSize);
    return static_cast<int>(size) + RecordHeaderSize;
}

int buildReadDeviceId(FrameBuffer &frame, std::uint8_t slaveAddress, std::uint8_t readDeviceIdCode,
                      std::uint8_t objectId)
{
    frame[0] = slaveAddress;
    frame[1] = EncapsulatedInterfaceFunction;
    frame[2] = ReadDeviceIdMeiType;
    frame[3] = readDeviceIdCode;
    frame[4] = objectId;
    return ReadDeviceIdRequestSize;
}

bool crcMatches(std::span<const std::uint8_t> frame) noexcept
{
    const auto received = frame.last(CrcSize);
    const std::uint16_t crc = crc16(frame.first(frame.size() - CrcSize));
    return received[0] == lowByte(crc) && received[1] == highByte(crc);
}

bool isCompleteRecordEcho(std::span<const std::uint8_t> frame) noexcept
{
    if (frame.size() < RecordEchoMinimum || frame[1] != WriteFileRecordFunction)
        return false;
    const int byteCount = signedByte(frame[2]);
    return byteCount >= 0 && byteCount + RecordEchoOverhead == static_cast<int>(frame.size());
}

bool isCompleteException(std::span<const std::uint8_t> frame) noexcept
{
    return frame.size() == ExceptionSize && isException(frame);
}

bool isException(std::span<const std::uint8_t> frame) noexcept
{
    return (frame[1] & ExceptionBit) != 0;
}

QString exceptionText(std::uint8_t code)
{
    switch (code) {
    case 1:
        return QStringLiteral("Illegal Function");
    case 2:
        return QStringLiteral("Illegal Data Address");
    case 3:
        return QStringLiteral("Illegal Data Value");
    case 4:
        return QStringLiteral("Slave Device Failure");
    default:
        return QStringLiteral("%1 - Unknown").arg(code);
    }
}

QString dumpText(FrameDirection direction, std::span<const std::uint8_t> frame)
{
    QString text = direction == FrameDirection::Sent ? QStringLiteral("--> ") : QStringLiteral("<-- ");
    for (std::size_t i = 0; i < frame.size(); ++i)
        text += QString::asprintf("%02X", frame[i]) + dumpSeparator(i, frame.size());
    return text;
}

QByteArray identityText(std::uint8_t slaveAddress, const FrameBuffer &reply)
{
    QByteArray text =
        QString::asprintf("Address:%03d(0x%02X)\n", int{slaveAddress}, uint{slaveAddress}).toLatin1();
    const int end = static_cast<int>(reply.size());
    int offset = FirstObjectOffset;
    for (int left = reply[ObjectCountOffset]; left > 0; --left) {
        // A negative length leads backwards; what lies outside the buffer is no object.
        if (offset < 0 || offset + ObjectHeaderSize > end)
            break;
        const auto header = std::span(reply).subspan(static_cast<std::size_t>(offset), ObjectHeaderSize);
        const int length = signedByte(header[1]);
        offset += ObjectHeaderSize;
        const int valueSize = std::clamp(length, 0, end - offset);
        text += objectLabel(header[0]);
        text.append(reinterpret_cast<const char *>(reply.data()) + offset, valueSize);
        text += '\n';
        offset += length;
    }
    return text;
}

} // namespace rtu
