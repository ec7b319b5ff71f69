// SPDX-License-Identifier: MIT
#include "simulator/sub20settings.h"

#include "simulator/irreceiver.h"
#include "simulator/misbehaviouroptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <system_error>

namespace simulator {

namespace {

using Settings = Sub20Settings;
using Text = std::string_view;

constexpr std::uint32_t LargestAddress = 255;
constexpr std::uint32_t LargestTransferMs = 600'000;
constexpr std::string_view Prefix = "ZEPHYRIN_SUB20_";

std::vector<Text> split(Text text, char separator)
{
    std::vector<Text> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == Text::npos)
            return parts;
        text.remove_prefix(end + 1);
    }
}

std::optional<std::uint32_t> numberWithin(Text text, std::uint32_t lowest, std::uint32_t highest)
{
    const std::optional<std::uint32_t> number = parseNumber(text);
    return number && *number >= lowest && *number <= highest ? number : std::nullopt;
}

std::optional<int> parseSigned(Text text)
{
    int value = 0;
    const char *const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc{} || result.ptr != end)
        return std::nullopt;
    return value;
}

bool readSwitch(Text text, bool &target)
{
    target = text == "1";
    return text == "0" || text == "1";
}

bool readFileName(Text text, std::string &target)
{
    target = text;
    return true;
}

bool readTime(Text text, TransferTime &target)
{
    if (text == "real") {
        target.real = true;
        return true;
    }
    const std::optional<std::uint32_t> ms = numberWithin(text, 0, LargestTransferMs);
    target.ms = ms.value_or(0);
    return ms.has_value();
}

bool readAdapters(Text text, Settings &settings)
{
    const std::optional<std::uint32_t> number = numberWithin(text, 0, MostAdapters);
    settings.adapters = number.value_or(settings.adapters);
    return number.has_value();
}

bool readAddress(Text text, Settings &settings)
{
    const std::optional<std::uint32_t> number = numberWithin(text, 1, LargestAddress);
    settings.address = static_cast<std::uint8_t>(number.value_or(settings.address));
    return number.has_value();
}

// transfer[:error]
bool readPulledOut(Text text, Settings &settings)
{
    const std::vector<Text> parts = split(text, ':');
    const std::optional<std::uint32_t> transfer = parseNumber(parts[0]);
    const std::optional<int> error = parts.size() > 1 ? parseSigned(parts[1]) : AdapterGoneError;
    if (!transfer || !error || parts.size() > 2)
        return false;
    settings.pulledOut = PulledOut{*transfer, *error};
    return true;
}

// frame:copy, separated by commas; the frame may be * for all of them
bool readCopies(Text text, std::vector<CopyOfFrame> &target)
{
    for (const Text entry : split(text, ',')) {
        const std::vector<Text> parts = split(entry, ':');
        if (parts.size() != 2)
            return false;
        const std::optional<std::uint32_t> frame = parseNumber(parts[0]);
        const std::optional<std::uint32_t> copy = numberWithin(parts[1], 1, IrCopies);
        if ((!frame && parts[0] != "*") || !copy)
            return false;
        target.push_back({frame, *copy});
    }
    return true;
}

// function:call:result[:error], separated by semicolons; without an error, sub_errno holds the result
bool readFailures(Text text, Settings &settings)
{
    for (const Text entry : split(text, ';')) {
        const std::vector<Text> parts = split(entry, ':');
        if (parts.size() < 3 || parts.size() > 4)
            return false;
        const std::optional<std::uint32_t> call = parseNumber(parts[1]);
        const std::optional<int> result = parseSigned(parts[2]);
        const std::optional<int> error = parseSigned(parts.back());
        if (!call || !result || !error)
            return false;
        settings.failures[std::string(parts[0])] = {*call, *result, *error};
    }
    return true;
}

// name or name=value, separated by commas
bool readMisbehaviour(Text text, Settings &settings)
{
    Misbehaviour misbehaviour;
    for (const Text entry : split(text, ',')) {
        const std::size_t equals = entry.find('=');
        const Text value = equals == Text::npos ? Text{} : entry.substr(equals + 1);
        const std::string error = applyMisbehaviour(misbehaviour, entry.substr(0, equals), value);
        if (!error.empty()) {
            settings.problems.push_back(error);
            return false;
        }
    }
    if (!contradiction(misbehaviour).empty())
        return false;
    settings.misbehaviour = misbehaviour;
    return true;
}

struct Variable
{
    Text name; // without the prefix
    bool (*read)(Text text, Settings &settings);
};

constexpr std::array<Variable, 18> Variables{{
    {"ADAPTERS", readAdapters},
    {"ADAPTERS_FILE", [](Text text, Settings &s) { return readFileName(text, s.adaptersFile); }},
    {"ADDRESS", readAddress},
    {"IR_IMAGE", [](Text text, Settings &s) { return readFileName(text, s.irImageFile); }},
    {"RS_IMAGE", [](Text text, Settings &s) { return readFileName(text, s.rsImageFile); }},
    {"LOG", [](Text text, Settings &s) { return readFileName(text, s.logFile); }},
    {"LOG_DATA", [](Text text, Settings &s) { return readSwitch(text, s.logData); }},
    {"REUSE_HANDLE", [](Text text, Settings &s) { return readSwitch(text, s.reuseHandles); }},
    {"EXCLUSIVE", [](Text text, Settings &s) { return readSwitch(text, s.exclusive); }},
    {"NO_ERROR_TEXT", [](Text text, Settings &s) { return readSwitch(text, s.noErrorText); }},
    {"IR_GATE_FILE", [](Text text, Settings &s) { return readFileName(text, s.irGateFile); }},
    {"IR_TIME", [](Text text, Settings &s) { return readTime(text, s.irTime); }},
    {"RS_TIME", [](Text text, Settings &s) { return readTime(text, s.rsTime); }},
    {"PULL_OUT", readPulledOut},
    {"IR_LOSE", [](Text text, Settings &s) { return readCopies(text, s.lostCopies); }},
    {"IR_DAMAGE", [](Text text, Settings &s) { return readCopies(text, s.damagedCopies); }},
    {"FAIL", readFailures},
    {"RS", readMisbehaviour},
}};

/// The number in a file; 0 when it cannot be read or holds none.
std::uint32_t numberIn(const std::string &name)
{
    std::ifstream file(name);
    std::uint32_t number = 0;
    file >> number;
    return file.fail() ? 0 : number;
}

// An empty variable counts as one that is not there.
Text valueOf(const Variable &variable)
{
    const char *const value = std::getenv((std::string(Prefix) + std::string(variable.name)).c_str());
    return value != nullptr ? Text(value) : Text();
}

} // namespace

std::string sub20Environment()
{
    std::string all;
    for (const Variable &variable : Variables)
        all.append(variable.name).append("=").append(valueOf(variable)).append("\n");
    return all;
}

Sub20Settings readSub20Settings()
{
    Sub20Settings settings;
    for (const Variable &variable : Variables) {
        const Text text = valueOf(variable);
        if (text.empty() || variable.read(text, settings))
            continue;
        std::string problem(Prefix);
        problem.append(variable.name).append(" cannot be \"").append(text).append("\"");
        settings.problems.push_back(problem);
    }
    return settings;
}

std::uint32_t adaptersNow(const Sub20Settings &settings)
{
    if (settings.adaptersFile.empty())
        return settings.adapters;
    return std::min(numberIn(settings.adaptersFile), MostAdapters);
}

bool mayTransmissionEnd(const Sub20Settings &settings, std::uint32_t number)
{
    return settings.irGateFile.empty() || number <= numberIn(settings.irGateFile);
}

} // namespace simulator
