// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

/// What libFuzzer and the replay call with each input. Never anything but 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// Ends the process, as a crash does, when something does not hold: the input is a finding then.
#define REQUIRE(condition)                                                                                   \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);              \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

/// An input, taken from its front. Behind its end there are zeros.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size) : left(data, size) {}

    bool isEmpty() const { return left.empty(); }
    std::uint8_t byte()
    {
        const std::span<const std::uint8_t> one = take(1);
        return one.empty() ? std::uint8_t{0} : one[0];
    }
    std::uint16_t word()
    {
        const std::uint8_t high = byte();
        return static_cast<std::uint16_t>((high << 8U) | byte());
    }
    /// Up to so many bytes, where they stand.
    std::span<const std::uint8_t> take(std::size_t count)
    {
        const std::span<const std::uint8_t> taken = left.first(std::min(count, left.size()));
        left = left.subspan(taken.size());
        return taken;
    }
    /// The same in memory of just their size, so that the sanitizer sees who reads behind them.
    std::vector<std::uint8_t> copy(std::size_t count)
    {
        const std::span<const std::uint8_t> taken = take(count);
        return {taken.begin(), taken.end()};
    }
    std::size_t size() const { return left.size(); }

private:
    std::span<const std::uint8_t> left;
};
