// SPDX-License-Identifier: MIT
#include "simulator/lineecho.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace simulator {

namespace {

constexpr std::uint8_t FlippedBit = 0x10;

// Two senders at once: the line carries a 0 wherever one of them sends it.
EchoedReply collided(Bytes echo, const Bytes &reply)
{
    const std::size_t begins = echo.size() / 2;
    const std::size_t both = std::min(echo.size() - begins, reply.size());
    for (std::size_t i = 0; i < both; ++i)
        echo[begins + i] &= reply[i];
    const auto rest = reply.begin() + static_cast<std::ptrdiff_t>(both);
    const std::size_t size = echo.size();
    return {std::move(echo), Bytes(rest, reply.end()), size};
}

} // namespace

EchoedReply lineEcho(ByteView request, const Bytes &reply, const Misbehaviour &misbehaviour, bool faulty)
{
    Bytes echo(request.begin(), request.end());
    if (!faulty)
        return {echo, reply, request.size()};
    if (misbehaviour.lineEchoCollide)
        return collided(std::move(echo), reply);
    if (misbehaviour.lineEchoCut)
        echo.resize(std::min(echo.size(), *misbehaviour.lineEchoCut));
    if (misbehaviour.lineEchoFlip && !echo.empty())
        echo[echo.size() / 2] ^= FlippedBit;
    return {echo, reply, request.size()};
}

} // namespace simulator
