// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/panelmodel.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace simulator {

struct Burst
{
    std::uint64_t delayBeforeUs = 0; ///< from the burst before; the first one's from the request's end
    Bytes bytes;
};

/// What hands bytes over. Without any of the three, they come at once and in one piece.
struct Line
{
    bool paced = false;          ///< each byte as it ends on a 9600 baud line
    std::size_t burstBytes = 0;  ///< as a UART with this trigger level does at 9600 baud
    std::uint64_t latencyUs = 0; ///< as a USB converter with this latency timer does
};

/// A pause within a reply, behind its first `after` bytes.
struct Gap
{
    std::optional<std::size_t> after;
    std::uint64_t us = 0;
};

/// What passes over a line whose converter returns what is sent.
struct EchoedReply
{
    Bytes echo;
    Bytes reply;
    std::size_t replyBegins = 0; ///< behind so many bytes of the request
};

/// A reply that begins `delayUs` behind the request's end.
std::vector<Burst> deliver(const Bytes &reply, const Line &line, const Gap &gap, std::uint64_t delayUs);

/// The same behind the request's echo, which passes while the request is still being sent. The line hands
/// over what comes, whoever sent it: the echo's end and the reply's beginning may come in one piece.
std::vector<Burst> deliverBehindEcho(const EchoedReply &echoed, const Line &line, const Gap &gap,
                                     std::uint64_t delayUs);

} // namespace simulator
