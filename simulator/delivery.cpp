// SPDX-License-Identifier: MIT
#include "simulator/delivery.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr std::uint64_t BitsPerByte = 10; // start bit, 8 data bits, stop bit
constexpr std::uint64_t BaudRate = 9600;
constexpr std::uint64_t UsPerSecond = 1'000'000;
constexpr std::uint64_t FifoTimeoutBytes = 4; // a UART hands over a part-full FIFO when idle so long

constexpr std::uint64_t lineTimeUs(std::uint64_t bytes)
{
    return bytes * BitsPerByte * UsPerSecond / BaudRate;
}

using Times = std::vector<std::uint64_t>; // one per byte, in microseconds from the start of the reply

// When the last bit of each byte has passed over the line; all zero when nothing imitates a line's speed.
Times arrivalTimes(std::size_t size, bool onALine, const Gap &gap)
{
    Times times(size, 0);
    for (std::size_t i = 0; i < size; ++i) {
        times[i] = onALine ? lineTimeUs(i + 1) : 0;
        if (gap.after && i >= *gap.after)
            times[i] += gap.us;
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

void handOver(Times &times, const Line &line)
{
    if (line.burstBytes != 0)
        holdInFifo(times, line.burstBytes);
    else if (line.latencyUs != 0)
        holdForLatencyTimer(times, line.latencyUs);
}

bool imitatesSpeed(const Line &line)
{
    return line.paced || line.burstBytes != 0 || line.latencyUs != 0;
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

std::vector<Burst> deliver(const Bytes &reply, const Line &line, const Gap &gap, std::uint64_t delayUs)
{
    Times times = arrivalTimes(reply.size(), imitatesSpeed(line), gap);
    handOver(times, line);
    return burstsOf(reply, times, delayUs);
}

std::vector<Burst> deliverBehindEcho(const EchoedReply &echoed, const Line &line, const Gap &gap,
                                     std::uint64_t delayUs)
{
    const bool onALine = imitatesSpeed(line);
    Bytes bytes = echoed.echo;
    bytes.insert(bytes.end(), echoed.reply.begin(), echoed.reply.end());
    Times times = arrivalTimes(echoed.echo.size(), onALine, {});
    const std::uint64_t replyUs = delayUs + (onALine ? lineTimeUs(echoed.replyBegins) : 0);
    for (const std::uint64_t time : arrivalTimes(echoed.reply.size(), onALine, gap))
        times.push_back(time + replyUs);
    handOver(times, line);
    return burstsOf(bytes, times, 0);
}

} // namespace simulator
