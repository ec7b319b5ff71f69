// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

/// The number that `digits` stand for, as far as there is no doubt: nothing where they are no mere digits and
/// yet might be a number, with a sign or blanks around it.
inline std::optional<std::uint32_t> undoubtedVendor(const std::string &digits)
{
    constexpr std::size_t LongestNumber = 8; // in 32 bits
    const auto among = [](const char *all) {
        return [all](char each) { return each != 0 && std::string(all).find(each) != std::string::npos; };
    };
    if (digits.empty())
        return 0;
    if (digits.size() <= LongestNumber &&
        std::all_of(digits.begin(), digits.end(), among("0123456789abcdefABCDEF")))
        return static_cast<std::uint32_t>(std::strtoul(digits.c_str(), nullptr, 16));
    if (std::any_of(digits.begin(), digits.end(), among("ghijklmnopqrstuvwyzGHIJKLMNOPQRSTUVWYZ_&#/\\.,;")))
        return 0;
    return std::nullopt;
}
