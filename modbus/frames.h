// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>
#include <span>

/// Modbus RTU frames as bytes: address, function code, data, CRC. Function codes, layouts and exception codes
/// are those of the "MODBUS Application Protocol", V1.1b3.
namespace rtu {

/// Room for the longest RTU frame, 256 bytes including the CRC ("MODBUS over Serial Line", 2.5.1).
using FrameBuffer = std::array<std::uint8_t, 256>;

constexpr std::uint8_t BroadcastAddress = 0;
constexpr std::uint8_t WriteFileRecordFunction = 0x15;
constexpr std::uint8_t EncapsulatedInterfaceFunction = 0x2B;
constexpr std::uint8_t ReadDeviceIdMeiType = 0x0E;
constexpr int CrcSize = 2;

/// What a Write File Record request has beside its data, CRC included; and so has its echo.
constexpr int RecordOverhead = 12;

/// The most data bytes that one Write File Record request has room for beside its header and CRC.
constexpr int MaxRecordDataSize = 244;

enum class FrameDirection { Received = 0, Sent = 1 };

/// Writes a Write File Record request (function 0x15, one group of reference type 6) into `frame`.
/// `data` holds whole registers, at most MaxRecordDataSize bytes. Returns the length without CRC.
[[nodiscard]] int buildWriteFileRecord(FrameBuffer &frame, std::uint8_t slaveAddress,
                                       std::uint16_t fileNumber, std::uint16_t recordNumber,
                                       std::span<const std::uint8_t> data);

/// Writes a Read Device Identification request (function 0x2B, MEI type 0x0E) into `frame`. Returns the
/// length without CRC.
[[nodiscard]] int buildReadDeviceId(FrameBuffer &frame, std::uint8_t slaveAddress,
                                    std::uint8_t readDeviceIdCode, std::uint8_t objectId);

/// Whether `frame`'s last two bytes are the CRC of those before them. `frame` holds at least those two.
[[nodiscard]] bool crcMatches(std::span<const std::uint8_t> frame) noexcept;

/// Whether `frame`, the first bytes of a reply, is a complete Write File Record echo by its own byte count.
/// The count is a signed byte here: from 0x80 on, no length is ever complete.
[[nodiscard]] bool isCompleteRecordEcho(std::span<const std::uint8_t> frame) noexcept;

/// Whether `frame` is an exception reply of its full length, 5 bytes.
[[nodiscard]] bool isCompleteException(std::span<const std::uint8_t> frame) noexcept;

/// Whether a reply's function code carries the exception bit. `frame` holds at least two bytes.
[[nodiscard]] bool isException(std::span<const std::uint8_t> frame) noexcept;

/// The words for a Modbus exception code, for example "Illegal Function" for 1.
[[nodiscard]] QString exceptionText(std::uint8_t code);

/// `frame` as hexadecimal text: "--> " or "<-- ", address and function code set apart by "|", the CRC's two
/// bytes joined by "_", sixteen bytes a line.
[[nodiscard]] QString dumpText(FrameDirection direction, std::span<const std::uint8_t> frame);

/// The panel's identity as text lines, from the reply to Read Device Identification: the address, then one
/// line an object. Object lengths are signed bytes and are not checked against the reply; nothing outside
/// `reply` is read all the same.
[[nodiscard]] QByteArray identityText(std::uint8_t slaveAddress, const FrameBuffer &reply);

} // namespace rtu
