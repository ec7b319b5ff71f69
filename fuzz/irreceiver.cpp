// SPDX-License-Identifier: MIT
// What the simulated panel's infrared receiver takes: transmissions of any size and content.
#include "simulator/irreceiver.h"
#include "fuzz/input.h"

#include <vector>

namespace {

using simulator::IrReceiver;

/// A frame as it should be, around a number and a block that may be anything; or the bytes as they are.
std::vector<std::uint8_t> drawTransmission(Input &input)
{
    const std::uint8_t kind = input.byte();
    if (kind >= 4)
        return input.copy(kind);
    std::vector<std::uint8_t> frame{0x55, 0x55, 0xC3, 0xEA, input.byte()};
    const std::vector<std::uint8_t> block = input.copy(kind == 0 ? 1 : simulator::IrBlockBytes);
    frame.insert(frame.end(), block.begin(), block.end());
    frame.resize(5 + simulator::IrBlockBytes);
    frame.push_back(simulator::irCrc(std::span(frame).subspan(4)));
    frame.insert(frame.end(), 8, 0xFF);
    if (kind == 3) // one bit of it turned over
        frame[input.byte() % frame.size()] ^= 1U;
    return frame;
}

void receive(IrReceiver &receiver, const std::vector<std::uint8_t> &transmission)
{
    const IrReceiver::Counts before = receiver.counts();
    const std::size_t sizeBefore = receiver.image().size();
    const IrReceiver::Outcome outcome = receiver.receive(transmission);
    const IrReceiver::Counts &counts = receiver.counts();
    const bool isTaken = outcome == IrReceiver::Outcome::Taken;
    REQUIRE(counts.frames == before.frames + 1);
    REQUIRE(counts.good == before.good + (isTaken ? 1 : 0));
    REQUIRE(counts.good + counts.damaged + counts.duplicates + counts.outOfOrder == counts.frames);
    REQUIRE(outcome == IrReceiver::Outcome::Damaged || transmission.size() == simulator::IrFrameBytes);
    const std::size_t kept = isTaken && transmission[4] == 0 ? 0 : sizeBefore;
    REQUIRE(receiver.image().size() == kept + (isTaken ? simulator::IrBlockBytes : 0));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    IrReceiver receiver;
    while (!input.isEmpty())
        receive(receiver, drawTransmission(input));
    return 0;
}
