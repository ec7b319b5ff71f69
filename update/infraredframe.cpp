// SPDX-License-Identifier: MIT
#include "update/infraredframe.h"

#include <algorithm>
#include <numeric>

namespace infrared {
namespace {

constexpr std::array<std::uint8_t, 4> Sync{0x55, 0x55, 0xC3, 0xEA};
constexpr std::size_t NumberOffset = 4;
constexpr std::size_t BlockOffset = 5;
constexpr std::size_t CrcOffset = 53;
constexpr std::size_t ChecksumOffset = 37; // of the older layout
constexpr std::uint8_t Filler = 0xFF;
constexpr std::size_t FillerSize = 8;

constexpr std::uint8_t CrcPolynomial = 0x9B;
constexpr std::uint8_t TopBit = 0x80;
constexpr int BitsPerByte = 8;

constexpr std::array<std::uint8_t, 256> makeCrcTable()
{
    std::array<std::uint8_t, 256> table{};
    for (std::size_t value = 0; value < table.size(); ++value) {
        unsigned crc = static_cast<unsigned>(value);
        for (int bit = 0; bit < BitsPerByte; ++bit)
            crc = (crc & TopBit) != 0 ? (crc << 1U) ^ CrcPolynomial : crc << 1U;
        table[value] = static_cast<std::uint8_t>(crc);
    }
    return table;
}

constexpr std::array<std::uint8_t, 256> CrcTable = makeCrcTable();

} // namespace

std::uint8_t crc8(std::span<const std::uint8_t> bytes) noexcept
{
    std::size_t crc = 0; // as wide as an index: each byte waits for the one before it
    for (const std::uint8_t byte : bytes)
        crc = CrcTable[crc ^ byte];
    return static_cast<std::uint8_t>(crc);
}

std::uint8_t nextNumber(std::uint8_t number) noexcept
{
    return number == UINT8_MAX ? 1 : static_cast<std::uint8_t>(number + 1);
}

void buildFrame(Frame &frame, int variant, std::uint8_t number, const Block &block)
{
    std::copy(Sync.begin(), Sync.end(), frame.begin());
    frame[NumberOffset] = number;
    std::copy(block.begin(), block.end(), frame.begin() + BlockOffset);

    std::size_t checkOffset = CrcOffset;
    if (variant == CrcVariant) {
        frame[CrcOffset] = crc8(std::span(frame).subspan(NumberOffset, CrcOffset - NumberOffset));
    } else {
        checkOffset = ChecksumOffset;
        const unsigned sum = std::accumulate(block.begin(), block.end(), unsigned{number});
        frame[ChecksumOffset] = static_cast<std::uint8_t>(0U - sum);
    }
    std::fill_n(frame.begin() + static_cast<std::ptrdiff_t>(checkOffset) + 1, FillerSize, Filler);
}

} // namespace infrared
