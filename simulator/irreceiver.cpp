// SPDX-License-Identifier: MIT
#include "simulator/irreceiver.h"

#include <algorithm>
#include <array>

namespace simulator {

namespace {

constexpr std::array<std::uint8_t, 4> SyncBytes{0x55, 0x55, 0xC3, 0xEA};
constexpr std::size_t NumberOffset = SyncBytes.size();
constexpr std::size_t BlockOffset = NumberOffset + 1;
constexpr std::size_t CrcOffset = BlockOffset + IrBlockBytes;
constexpr std::uint8_t ClosingByte = 0xFF;
constexpr std::uint32_t CrcPolynomial = 0x9B;
constexpr int FirstNumber = 0;
constexpr int LargestNumber = 255;

bool isIntact(std::span<const std::uint8_t> frame)
{
    if (frame.size() != IrFrameBytes)
        return false;
    if (!std::equal(SyncBytes.begin(), SyncBytes.end(), frame.begin()))
        return false;
    if (irCrc(frame.subspan(NumberOffset, CrcOffset - NumberOffset)) != frame[CrcOffset])
        return false;
    const auto closing = frame.subspan(CrcOffset + 1);
    return std::all_of(closing.begin(), closing.end(), [](std::uint8_t byte) { return byte == ClosingByte; });
}

int numberAfter(int number)
{
    return number == LargestNumber ? FirstNumber + 1 : number + 1;
}

} // namespace

std::uint8_t irCrc(std::span<const std::uint8_t> bytes)
{
    std::uint32_t crc = 0;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80u) != 0 ? ((crc << 1) ^ CrcPolynomial) & 0xFFu : crc << 1;
    }
    return static_cast<std::uint8_t>(crc);
}

IrReceiver::Outcome IrReceiver::receive(std::span<const std::uint8_t> transmission)
{
    ++tally.frames;
    const Outcome outcome = judge(transmission);
    switch (outcome) {
    case Outcome::Damaged:
        ++tally.damaged;
        break;
    case Outcome::Duplicate:
        ++tally.duplicates;
        ++goodCopies;
        break;
    case Outcome::OutOfOrder:
        ++tally.outOfOrder;
        break;
    case Outcome::Taken:
        ++tally.good;
        goodCopies = 1;
        lastNumber = transmission[NumberOffset];
        if (lastNumber == FirstNumber)
            received.clear();
        const auto block = transmission.subspan(BlockOffset, IrBlockBytes);
        received.insert(received.end(), block.begin(), block.end());
        break;
    }
    return outcome;
}

IrReceiver::Outcome IrReceiver::judge(std::span<const std::uint8_t> transmission) const
{
    if (!isIntact(transmission))
        return Outcome::Damaged;
    const int number = transmission[NumberOffset];
    // A fourth copy of frame 0 can only be the start of the next image.
    if (number == lastNumber && (number != FirstNumber || goodCopies < IrCopies))
        return Outcome::Duplicate;
    if (number == FirstNumber || (lastNumber >= 0 && number == numberAfter(lastNumber)))
        return Outcome::Taken;
    return Outcome::OutOfOrder;
}

} // namespace simulator
