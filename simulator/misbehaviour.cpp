// SPDX-License-Identifier: MIT
#include "simulator/misbehaviour.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr std::uint64_t BitsPerByte = 10; // start bit, 8 data bits, stop bit
constexpr std::uint64_t BaudRate = 9600;
constexpr std::uint64_t UsPerSecond = 1'000'000;
constexpr std::uint64_t UsPerMs = 1000;
constexpr std::uint64_t FifoTimeoutBytes = 4;   // a UART hands over a part-full FIFO when idle so long
constexpr std::uint64_t HangUpPauseUs = 50'000; // a terminal that is hung up drops what was not read yet
constexpr std::uint8_t ExceptionBit = 0x80;
constexpr std::uint8_t TrailingByte = 0x5A;
constexpr std::uint8_t EndlessByteCount = 0xFF;
constexpr std::size_t HeaderBytes = 2; // address, function
constexpr std::size_t CrcBytes = 2;

constexpr std::uint64_t lineTimeUs(std::uint64_t bytes)
{
    return bytes * BitsPerByte * UsPerSecond / BaudRate;
}

Bytes exceptionTo(const Bytes &reply, std::uint8_t code)
{
    Bytes exception{reply[0], static_cast<std::uint8_t>(reply[1] | ExceptionBit), code};
    appendModbusCrc(exception);
    return exception;
}

// The byte count FF fits no frame, so that a reader that goes by it never finds an end.
Bytes oversizeReply(const Bytes &reply, std::size_t size)
{
    Bytes large{reply[0], reply[1], EndlessByteCount};
    while (large.size() + CrcBytes < size)
        large.push_back(static_cast<std::uint8_t>(large.size() & 0xFF));
    appendModbusCrc(large);
    large.resize(size);
    return large;
}

void flipCrc(Bytes &reply, CrcFlip which)
{
    if (reply.size() < CrcBytes)
        return;
    if (which == CrcFlip::Low || which == CrcFlip::Both)
        reply[reply.size() - 2] ^= 0xFF;
    if (which == CrcFlip::High || which == CrcFlip::Both)
        reply[reply.size() - 1] ^= 0xFF;
}

Bytes faultyReply(const Bytes &reply, const Bytes &replyBefore, const Misbehaviour &misbehaviour)
{
    if (misbehaviour.silent || reply.size() < HeaderBytes || (misbehaviour.hangUp && !misbehaviour.cutTo))
        return {};
    Bytes faulty = reply;
    if (misbehaviour.exceptionCode)
        faulty = exceptionTo(reply, *misbehaviour.exceptionCode);
    else if (misbehaviour.oversizeTo)
        faulty = oversizeReply(reply, *misbehaviour.oversizeTo);
    else if (misbehaviour.echoBefore && !replyBefore.empty())
        faulty = replyBefore;
    flipCrc(faulty, misbehaviour.flipCrc);
    if (misbehaviour.cutTo)
        faulty.resize(std::min(faulty.size(), *misbehaviour.cutTo));
    faulty.insert(faulty.end(), misbehaviour.trailing, TrailingByte);
    return faulty;
}

using Times = std::vector<std::uint64_t>; // one per byte, in microseconds from the start of the reply

// When the last bit of each byte has passed over the line; all zero when nothing imitates a line's speed.
Times arrivalTimes(std::size_t size, bool onALine, std::optional<std::size_t> gapAfter, std::uint64_t gapUs)
{
    Times times(size, 0);
    for (std::size_t i = 0; i < size; ++i) {
        times[i] = onALine ? lineTimeUs(i + 1) : 0;
        if (gapAfter && i >= *gapAfter)
            times[i] += gapUs;
    }
    return times;
}

void holdInFifo(Times &times, std::size_t triggerLevel)
{
    std::size_t first = 0;
    while (first < times.size()) {
        std::size_t last = first;
        const auto idleAt = [&times](std::size_t i) { return times[i] + lineTimeUs(FifoTimeoutBytes); };
        while (last - first + 1 < triggerLevel && last + 1 < times.size() && times[last + 1] <= idleAt(last))
            ++last;
        const bool full = last - first + 1 == triggerLevel;
        const std::uint64_t handedOver = full ? times[last] : idleAt(last);
        std::fill(times.begin() + static_cast<std::ptrdiff_t>(first),
                  times.begin() + static_cast<std::ptrdiff_t>(last + 1), handedOver);
        first = last + 1;
    }
}

// The converter sends what it holds each time its timer ends.
void holdForLatencyTimer(Times &times, std::uint64_t periodUs)
{
    for (std::uint64_t &time : times)
        time = (time + periodUs - 1) / periodUs * periodUs;
}

Times deliveryTimes(std::size_t size, const Misbehaviour &misbehaviour, bool faulty, bool pacing)
{
    const bool onALine =
        pacing && (misbehaviour.paced || misbehaviour.burstBytes != 0 || misbehaviour.latencyMs != 0);
    Times times = arrivalTimes(size, onALine, faulty ? misbehaviour.splitAfter : std::nullopt,
                               misbehaviour.splitGapMs * UsPerMs);
    if (pacing && misbehaviour.burstBytes != 0)
        holdInFifo(times, misbehaviour.burstBytes);
    else if (pacing && misbehaviour.latencyMs != 0)
        holdForLatencyTimer(times, misbehaviour.latencyMs * UsPerMs);
    return times;
}

std::vector<Burst> burstsOf(const Bytes &bytes, const Times &times, std::uint64_t delayUs)
{
    std::vector<Burst> bursts;
    std::uint64_t before = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 0 || times[i] != before) {
            const std::uint64_t extraUs = i == 0 ? delayUs : 0;
            bursts.push_back({times[i] - before + extraUs, {}});
            before = times[i];
        }
        bursts.back().bytes.push_back(bytes[i]);
    }
    return bursts;
}

} // namespace

bool isFaulty(const Misbehaviour &misbehaviour, std::uint32_t recordIndex)
{
    return recordIndex >= misbehaviour.fromRecord;
}

bool losesRecord(const Misbehaviour &misbehaviour, std::uint32_t recordIndex)
{
    return isFaulty(misbehaviour, recordIndex) &&
           (misbehaviour.silent || misbehaviour.hangUp || misbehaviour.exceptionCode.has_value());
}

Schedule planReply(const Bytes &reply, const Bytes &replyBefore, const Misbehaviour &misbehaviour,
                   std::uint32_t recordIndex)
{
    const bool faulty = isFaulty(misbehaviour, recordIndex);
    const bool pacing = recordIndex >= misbehaviour.pacingFromRecord.value_or(misbehaviour.fromRecord);
    const Bytes bytes = faulty ? faultyReply(reply, replyBefore, misbehaviour) : reply;
    const std::uint64_t lateMs = faulty ? misbehaviour.lateMs : 0;
    const std::uint64_t delayUs = (misbehaviour.answerMs + lateMs) * UsPerMs;

    Schedule schedule;
    schedule.bursts = burstsOf(bytes, deliveryTimes(bytes.size(), misbehaviour, faulty, pacing), delayUs);
    schedule.hangUp = faulty && misbehaviour.hangUp;
    if (schedule.hangUp)
        schedule.hangUpDelayUs = schedule.bursts.empty() ? delayUs : HangUpPauseUs;
    return schedule;
}

} // namespace simulator
