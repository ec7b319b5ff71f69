// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// What the serial line itself takes, whatever the program and the panel do.
namespace rtu {

constexpr std::int32_t LineBaudRate = 9600;
/// Start bit, 8 data bits, stop bit: how the serial port is set.
constexpr std::int32_t BitsPerByte = 10;
/// The most that Modbus RTU has a line carry for a byte: start bit, 8 data bits, parity bit, stop bit.
constexpr std::int32_t MostBitsPerByte = 11;

/// What the line takes for `bytes` bytes, in microseconds, rounded up. A 9600 baud line cannot be faster.
constexpr std::int64_t lineTimeUs(std::int64_t bytes, std::int32_t bitsPerByte = BitsPerByte) noexcept
{
    return (bytes * bitsPerByte * 1'000'000 + LineBaudRate - 1) / LineBaudRate;
}

/// The same in milliseconds, rounded up.
constexpr std::int32_t lineTimeMs(std::int32_t bytes, std::int32_t bitsPerByte = BitsPerByte) noexcept
{
    constexpr std::int64_t UsPerMs = 1000;
    return static_cast<std::int32_t>((lineTimeUs(bytes, bitsPerByte) + UsPerMs - 1) / UsPerMs);
}

} // namespace rtu
