// SPDX-License-Identifier: MIT
#include "simulator/misbehaviouroptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

namespace simulator {

namespace {

constexpr std::uint32_t LargestRecord = 65535;
constexpr std::uint32_t LargestByteNumber = 4000; // a pseudo-terminal holds 4095 unread bytes
constexpr std::uint32_t LargestMs = 600'000;
constexpr std::uint32_t SmallestOversize = 5; // address, function, byte count, CRC
constexpr std::uint32_t LargestFifoBytes = 256;

using M = Misbehaviour;
using N = std::uint32_t;

constexpr std::array<MisbehaviourOption, 23> Options{{
    {"from-record", "number", "the misbehaviour begins with this record (default 0)", 0, LargestRecord,
     [](M &m, N value) { m.fromRecord = value; }},
    {"pacing-from-record", "number", "paced, bursts or latency-ms begins here (default: from-record)", 0,
     LargestRecord, [](M &m, N value) { m.pacingFromRecord = value; }},
    {"silent", "", "no reply", 0, 0, [](M &m, N) { m.silent = true; }},
    {"hang-up", "", "close the line instead of replying, or after cut bytes of the reply", 0, 0,
     [](M &m, N) { m.hangUp = true; }},
    {"exception", "code", "reply with this Modbus exception", 0, 255,
     [](M &m, N value) { m.exceptionCode = static_cast<std::uint8_t>(value); }},
    {"oversize", "bytes", "a reply of so many bytes, more than its byte count can announce", SmallestOversize,
     LargestByteNumber, [](M &m, N value) { m.oversizeTo = value; }},
    {"echo-before", "", "reply with the echo of the record before", 0, 0,
     [](M &m, N) { m.echoBefore = true; }},
    {"flip-crc", "", "both CRC bytes of the reply inverted", 0, 0,
     [](M &m, N) { m.flipCrc = CrcFlip::Both; }},
    {"flip-crc-low", "", "the first (low) CRC byte inverted", 0, 0,
     [](M &m, N) { m.flipCrc = CrcFlip::Low; }},
    {"flip-crc-high", "", "the last (high) CRC byte inverted", 0, 0,
     [](M &m, N) { m.flipCrc = CrcFlip::High; }},
    {"cut", "bytes", "only the first so many bytes of the reply", 0, LargestByteNumber,
     [](M &m, N value) { m.cutTo = value; }},
    {"trailing", "bytes", "so many bytes (5A) behind the reply", 0, LargestByteNumber,
     [](M &m, N value) { m.trailing = value; }},
    {"answer-ms", "ms", "the panel's own answering time, for every record (default 0)", 0, LargestMs,
     [](M &m, N value) { m.answerMs = value; }},
    {"late-ms", "ms", "the reply comes so much later", 0, LargestMs, [](M &m, N value) { m.lateMs = value; }},
    {"split", "bytes", "a gap behind the reply's first so many bytes", 1, LargestByteNumber,
     [](M &m, N value) { m.splitAfter = value; }},
    {"split-gap-ms", "ms", "the length of that gap (default 30)", 0, LargestMs,
     [](M &m, N value) { m.splitGapMs = value; }},
    {"line-echo", "", "all that is received is returned in front of the reply, as by some converters", 0, 0,
     [](M &m, N) { m.lineEcho = true; }},
    {"line-echo-flip", "", "one bit of that echo wrong", 0, 0, [](M &m, N) { m.lineEchoFlip = true; }},
    {"line-echo-cut", "bytes", "only the first so many bytes of that echo", 0, LargestByteNumber,
     [](M &m, N value) { m.lineEchoCut = value; }},
    {"line-echo-collide", "", "the reply begins in the middle of that echo", 0, 0,
     [](M &m, N) { m.lineEchoCollide = true; }},
    {"paced", "", "every byte as it ends on a 9600 baud line, 1.04 ms each", 0, 0,
     [](M &m, N) { m.paced = true; }},
    {"bursts", "bytes", "in bursts as a UART with this trigger level (8, 14, 16 ...) gives at 9600 baud", 1,
     LargestFifoBytes, [](M &m, N value) { m.burstBytes = value; }},
    {"latency-ms", "ms", "as a USB converter with this latency timer (mostly 16) gives at 9600 baud", 1,
     LargestMs, [](M &m, N value) { m.latencyMs = value; }},
}};

std::string echoContradiction(const Misbehaviour &misbehaviour)
{
    const bool damaged =
        misbehaviour.lineEchoFlip || misbehaviour.lineEchoCut.has_value() || misbehaviour.lineEchoCollide;
    if (damaged && !misbehaviour.lineEcho)
        return "\"line-echo-flip\", \"line-echo-cut\" and \"line-echo-collide\" need \"line-echo\"";
    if (misbehaviour.lineEchoFlip && misbehaviour.lineEchoCut == 0)
        return "\"line-echo-flip\" needs a byte of the echo";
    if (!misbehaviour.lineEchoCollide)
        return {};
    if (misbehaviour.lineEchoFlip || misbehaviour.lineEchoCut)
        return "\"line-echo-collide\" goes with neither \"line-echo-flip\" nor \"line-echo-cut\"";
    if (misbehaviour.silent || misbehaviour.hangUp)
        return "\"line-echo-collide\" needs a reply";
    return {};
}

} // namespace

std::span<const MisbehaviourOption> misbehaviourOptions()
{
    return Options;
}

std::optional<std::uint32_t> parseNumber(std::string_view text)
{
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::string_view digits = hexadecimal ? text.substr(2) : text;
    constexpr int Decimal = 10;
    constexpr int Hexadecimal = 16;
    std::uint32_t value = 0;
    const char *const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, value, hexadecimal ? Hexadecimal : Decimal);
    if (digits.empty() || result.ec != std::errc{} || result.ptr != end)
        return std::nullopt;
    return value;
}

std::string applyMisbehaviour(Misbehaviour &misbehaviour, std::string_view name, std::string_view value)
{
    const auto option = std::find_if(Options.begin(), Options.end(),
                                     [name](const MisbehaviourOption &each) { return each.name == name; });
    if (option == Options.end())
        return "unknown misbehaviour \"" + std::string(name) + '"';
    if (option->valueName.empty()) {
        if (!value.empty())
            return '"' + std::string(name) + "\" takes no value";
        option->apply(misbehaviour, 0);
        return {};
    }
    const std::optional<std::uint32_t> number = parseNumber(value);
    if (!number || *number < option->lowest || *number > option->highest) {
        return '"' + std::string(name) + "\" needs a number from " + std::to_string(option->lowest) + " to " +
               std::to_string(option->highest) + ", not \"" + std::string(value) + '"';
    }
    option->apply(misbehaviour, *number);
    return {};
}

std::string contradiction(const Misbehaviour &misbehaviour)
{
    const int pacings = (misbehaviour.paced ? 1 : 0) + (misbehaviour.burstBytes != 0 ? 1 : 0) +
                        (misbehaviour.latencyMs != 0 ? 1 : 0);
    if (pacings > 1)
        return "only one of \"paced\", \"bursts\" and \"latency-ms\" can be chosen";
    return echoContradiction(misbehaviour);
}

} // namespace simulator
