// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace rtu {

/// The Modbus checksum over `bytes`: CRC-16/MODBUS of the CRC catalogue (polynomial 0x8005, reflected 0xA001,
/// initial value 0xFFFF, no final XOR), as in "MODBUS over Serial Line", 6.2.2. No bytes give 0xFFFF.
/// On the wire its low byte goes first.
[[nodiscard]] std::uint16_t crc16(std::span<const std::uint8_t> bytes) noexcept;

} // namespace rtu
