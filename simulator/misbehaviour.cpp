// SPDX-License-Identifier: MIT
#include "simulator/misbehaviour.h"

#include "simulator/delivery.h"
#include "simulator/lineecho.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr std::uint64_t UsPerMs = 1000;
constexpr std::uint64_t HangUpPauseUs = 50'000; // a terminal that is hung up drops what was not read yet
constexpr std::uint8_t ExceptionBit = 0x80;
constexpr std::uint8_t TrailingByte = 0x5A;
constexpr std::uint8_t EndlessByteCount = 0xFF;
constexpr std::size_t HeaderBytes = 2; // address, function
constexpr std::size_t CrcBytes = 2;

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
                   std::uint32_t recordIndex, ByteView request)
{
    const bool faulty = isFaulty(misbehaviour, recordIndex);
    const bool pacing = recordIndex >= misbehaviour.pacingFromRecord.value_or(misbehaviour.fromRecord);
    const Bytes bytes = faulty ? faultyReply(reply, replyBefore, misbehaviour) : reply;
    const std::uint64_t lateMs = faulty ? misbehaviour.lateMs : 0;
    const std::uint64_t delayUs = (misbehaviour.answerMs + lateMs) * UsPerMs;
    Line line;
    if (pacing)
        line = {misbehaviour.paced, misbehaviour.burstBytes, misbehaviour.latencyMs * UsPerMs};
    Gap gap;
    if (faulty)
        gap = {misbehaviour.splitAfter, misbehaviour.splitGapMs * UsPerMs};

    Schedule schedule;
    schedule.bursts =
        misbehaviour.lineEcho
            ? deliverBehindEcho(lineEcho(request, bytes, misbehaviour, faulty), line, gap, delayUs)
            : deliver(bytes, line, gap, delayUs);
    schedule.hangUp = faulty && misbehaviour.hangUp;
    if (schedule.hangUp)
        schedule.hangUpDelayUs = schedule.bursts.empty() ? delayUs : HangUpPauseUs;
    return schedule;
}

Schedule planEcho(const Misbehaviour &misbehaviour, std::uint32_t recordIndex, ByteView request)
{
    Misbehaviour converter = misbehaviour;
    converter.hangUp = false;
    return planReply({}, {}, converter, recordIndex, request);
}

} // namespace simulator
