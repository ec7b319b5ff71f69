// SPDX-License-Identifier: MIT
#include "modbus/crc16.h"

#include <array>
#include <cstddef>

namespace rtu {

namespace {

constexpr std::uint16_t ReflectedPolynomial = 0xA001;
constexpr std::uint8_t InitialByte = 0xFF;
constexpr std::size_t ByteValues = 256;
constexpr int BitsPerByte = 8;

/// What one byte does to the checksum, split into the halves that the byte-wise algorithm works on.
struct Tables
{
    std::array<std::uint8_t, ByteValues> high;
    std::array<std::uint8_t, ByteValues> low;
};

constexpr Tables makeTables()
{
    Tables tables{};
    for (std::size_t value = 0; value < ByteValues; ++value) {
        std::uint32_t crc = static_cast<std::uint32_t>(value);
        for (int bit = 0; bit < BitsPerByte; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ ReflectedPolynomial : crc >> 1U;
        tables.high[value] = static_cast<std::uint8_t>(crc >> 8U);
        tables.low[value] = static_cast<std::uint8_t>(crc & 0xFFU);
    }
    return tables;
}

constexpr Tables CrcTables = makeTables();

} // namespace

std::uint16_t crc16(std::span<const std::uint8_t> bytes) noexcept
{
    std::uint8_t high = InitialByte;
    std::uint8_t low = InitialByte;
    for (const std::uint8_t byte : bytes) {
        const std::size_t index = static_cast<std::size_t>(low ^ byte);
        low = static_cast<std::uint8_t>(high ^ CrcTables.low[index]);
        high = CrcTables.high[index];
    }
    return static_cast<std::uint16_t>((high << 8U) | low);
}

} // namespace rtu
