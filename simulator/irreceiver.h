// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace simulator {

inline constexpr std::size_t IrFrameBytes = 62;
inline constexpr std::size_t IrBlockBytes = 48;
inline constexpr int IrCopies = 3;

/// CRC-8 with polynomial 0x9B, initial value 0, most significant bit first (CRC-8/LTE), worked out bit by
/// bit.
std::uint8_t irCrc(std::span<const std::uint8_t> bytes);

/// The panel's infrared receiver. A transmission has 62 bytes:
///
///     0..3    sync bytes 55 55 C3 EA
///     4       frame number: 0, 1 .. 255, 1 .. 255, ...
///     5..52   48 bytes of the image
///     53      CRC-8 over bytes 4 to 52
///     54..61  FF
///
/// Every frame is sent three times; the first good copy counts, and the others are dropped. Nothing is ever
/// answered. Not thread-safe.
class IrReceiver
{
public:
    enum class Outcome { Taken, Duplicate, Damaged, OutOfOrder };

    struct Counts
    {
        std::uint64_t frames = 0;     ///< transmissions, copies included
        std::uint64_t good = 0;       ///< frames whose block went into the image
        std::uint64_t damaged = 0;    ///< wrong size, sync, CRC or closing bytes
        std::uint64_t duplicates = 0; ///< further good copies of the frame taken last
        std::uint64_t outOfOrder = 0; ///< good, but neither the last nor the next number; dropped
    };

    Outcome receive(std::span<const std::uint8_t> transmission);

    /// All blocks taken, 48 bytes each. Frame number 0, which an image has but once, begins a new image.
    const std::vector<std::uint8_t> &image() const { return received; }

    const Counts &counts() const { return tally; }

private:
    Outcome judge(std::span<const std::uint8_t> transmission) const;

    std::vector<std::uint8_t> received;
    Counts tally;
    int lastNumber = -1; // none yet
    int goodCopies = 0;  // of the frame taken last
};

} // namespace simulator
