// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/delivery.h"
#include "simulator/panelmodel.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace simulator {

/// The two CRC bytes of a reply that can be inverted.
enum class CrcFlip { None, Low, High, Both };

/// What is wrong with the panel's replies, and how the line hands their bytes over. The faults, also those of
/// the converter's echo, begin with record `fromRecord`, the pacing with record `pacingFromRecord` (the same
/// one when empty).
struct Misbehaviour
{
    std::uint32_t fromRecord = 0;
    std::optional<std::uint32_t> pacingFromRecord;

    // What the reply holds. Of those that contradict each other, the one listed first wins.
    bool silent = false;
    bool hangUp = false; ///< the line closes; before a reply, or after `cutTo` bytes
    std::optional<std::uint8_t> exceptionCode;
    std::optional<std::size_t> oversizeTo; ///< a reply of so many bytes that no byte count announces
    bool echoBefore = false;               ///< the reply before instead of this one
    CrcFlip flipCrc = CrcFlip::None;
    std::optional<std::size_t> cutTo; ///< only the first so many bytes
    std::size_t trailing = 0;         ///< so many more bytes behind the reply

    // When it comes.
    std::uint32_t answerMs = 0; ///< the panel's own answering time; holds for every record
    std::uint32_t lateMs = 0;
    std::optional<std::size_t> splitAfter; ///< a gap behind so many bytes
    std::uint32_t splitGapMs = 30;

    // What the converter returns of all that is sent, in front of the reply.
    bool lineEcho = false;
    bool lineEchoFlip = false;              ///< one bit of it is wrong
    std::optional<std::size_t> lineEchoCut; ///< only its first so many bytes
    bool lineEchoCollide = false;           ///< the reply begins in its middle

    // How it is handed over; at most one of the three.
    bool paced = false;          ///< each byte as it ends on a 9600 baud line
    std::size_t burstBytes = 0;  ///< as a UART with this trigger level does at 9600 baud
    std::uint32_t latencyMs = 0; ///< as a USB converter with this latency timer does
};

struct Schedule
{
    std::vector<Burst> bursts;
    bool hangUp = false;             ///< close the line after the bursts
    std::uint64_t hangUpDelayUs = 0; ///< counted from the last burst
};

/// True when the faults of `misbehaviour` hold for a request that writes record `recordIndex`.
bool isFaulty(const Misbehaviour &misbehaviour, std::uint32_t recordIndex);

/// True when a panel that misbehaves so has not taken the record: it kept silent, refused, or was gone.
bool losesRecord(const Misbehaviour &misbehaviour, std::uint32_t recordIndex);

/// When and in which pieces the line delivers `reply`. An empty reply stays silent, though the line may still
/// be hung up. `replyBefore` is the reply to the request before, empty if there was none. `request` is what a
/// converter may return in front of the reply.
Schedule planReply(const Bytes &reply, const Bytes &replyBefore, const Misbehaviour &misbehaviour,
                   std::uint32_t recordIndex, ByteView request = {});

/// The same for a request that is not for the panel: nothing but the echo.
Schedule planEcho(const Misbehaviour &misbehaviour, std::uint32_t recordIndex, ByteView request);

} // namespace simulator
