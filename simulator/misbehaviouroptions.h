// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/misbehaviour.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace simulator {

/// One setting of a Misbehaviour by name, as a command line or the simulated adapter's environment has it.
struct MisbehaviourOption
{
    std::string_view name;
    std::string_view valueName; ///< empty for a switch, which takes no value
    std::string_view help;
    std::uint32_t lowest;
    std::uint32_t highest;
    void (*apply)(Misbehaviour &misbehaviour, std::uint32_t value);
};

std::span<const MisbehaviourOption> misbehaviourOptions();

/// A whole number, decimal or hexadecimal with 0x before it; empty for anything else and beyond 32 bits.
std::optional<std::uint32_t> parseNumber(std::string_view text);

/// Sets the option `name` from the text of its value, empty for a switch. Returns what is wrong with it;
/// empty when it was taken.
std::string applyMisbehaviour(Misbehaviour &misbehaviour, std::string_view name, std::string_view value);

/// What is wrong with the settings taken together; empty when they agree.
std::string contradiction(const Misbehaviour &misbehaviour);

} // namespace simulator
