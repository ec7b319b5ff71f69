// SPDX-License-Identifier: MIT
// What the simulated panel's infrared receiver takes: transmissions of any size and content.
#include "simulator/irreceiver.h"
#include "fuzz/input.h"

#include <algorithm>
#include <span>
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

/// The receiver as its description has it: whether a frame is whole, and which number may follow which.
class Expectation
{
public:
    IrReceiver::Outcome outcomeOf(const std::vector<std::uint8_t> &frame)
    {
        if (!isWhole(frame))
            return IrReceiver::Outcome::Damaged;
        const int number = frame[4];
        if (number == last && (number != 0 || copies < 3)) {
            ++copies;
            return IrReceiver::Outcome::Duplicate;
        }
        if (number != 0 && (last < 0 || number != last % 255 + 1))
            return IrReceiver::Outcome::OutOfOrder;
        last = number;
        copies = 1;
        return IrReceiver::Outcome::Taken;
    }

private:
    static bool isWhole(const std::vector<std::uint8_t> &frame)
    {
        if (frame.size() != 62 || frame[0] != 0x55 || frame[1] != 0x55 || frame[2] != 0xC3 ||
            frame[3] != 0xEA)
            return false;
        const auto isClosing = [](std::uint8_t byte) { return byte == 0xFF; };
        return frame[53] == simulator::irCrc(std::span(frame).subspan(4, 49)) &&
               std::all_of(frame.begin() + 54, frame.end(), isClosing);
    }

    int last = -1;
    int copies = 0;
};

void receive(IrReceiver &receiver, Expectation &expectation, const std::vector<std::uint8_t> &transmission)
{
    const IrReceiver::Counts before = receiver.counts();
    const std::vector<std::uint8_t> imageBefore = receiver.image();
    const IrReceiver::Outcome outcome = receiver.receive(transmission);
    const IrReceiver::Counts &counts = receiver.counts();
    REQUIRE(outcome == expectation.outcomeOf(transmission));
    REQUIRE(counts.frames == before.frames + 1);
    REQUIRE(counts.good + counts.damaged + counts.duplicates + counts.outOfOrder == counts.frames);
    std::vector<std::uint8_t> image = imageBefore;
    if (outcome == IrReceiver::Outcome::Taken) {
        if (transmission[4] == 0)
            image.clear();
        image.insert(image.end(), transmission.begin() + 5, transmission.begin() + 53);
    }
    REQUIRE(receiver.image() == image);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    IrReceiver receiver;
    Expectation expectation;
    while (!input.isEmpty())
        receive(receiver, expectation, drawTransmission(input));
    return 0;
}
