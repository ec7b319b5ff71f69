// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// The frames in which an image goes to the panel by infrared. The panel never answers.
///
///     offset  size  content
///          0     4  sync 0x55 0x55 0xC3 0xEA
///          4     1  frame number
///          5    48  image block
///         53     1  CRC-8 over offsets 4 to 52
///         54     8  0xFF
namespace infrared {

constexpr std::size_t FrameSize = 62;
constexpr std::size_t BlockSize = 48;

using Frame = std::array<std::uint8_t, FrameSize>;
using Block = std::array<std::uint8_t, BlockSize>;

/// The protocol variant with the layout above.
constexpr int CrcVariant = 2;

/// Fills `frame`. Any `variant` but CrcVariant gives the older layout: a checksum (two's complement
/// of the sum of number and block) at offset 37 and eight 0xFF at 38, both over the block's bytes there; what
/// lies behind offset 52 stays as it is.
void buildFrame(Frame &frame, int variant, std::uint8_t number, const Block &block);

/// The number after `number`: 0 starts an image and never comes again, 255 is followed by 1.
std::uint8_t nextNumber(std::uint8_t number) noexcept;

/// CRC-8/LTE of the CRC catalogue: polynomial 0x9B, initial value 0, no reflection, no final XOR.
std::uint8_t crc8(std::span<const std::uint8_t> bytes) noexcept;

} // namespace infrared
