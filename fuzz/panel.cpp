// SPDX-License-Identifier: MIT
// What the simulated panel takes: frames of any content, under any misbehaviour that its options have.
#include "fuzz/input.h"
#include "simulator/misbehavingpanel.h"
#include "simulator/misbehaviouroptions.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace simulator;

/// The longest image: 65536 records of 32 bytes. 0 right after the last record goes on behind it.
constexpr std::size_t LongestImage = std::size_t{0x10000} * RecordBytes;
/// No option delays a reply for longer than this, all added up.
constexpr std::uint64_t LongestDelayUs = 24ULL * 3600 * 1'000'000;

Misbehaviour drawMisbehaviour(Input &input)
{
    Misbehaviour faults;
    for (int left = input.byte() % 8; left > 0; --left) {
        const auto options = misbehaviourOptions();
        const MisbehaviourOption &option = options[input.byte() % options.size()];
        std::string value;
        if (!option.valueName.empty()) {
            const std::vector<std::uint8_t> text = input.copy(input.byte() % 12);
            value.assign(text.begin(), text.end());
        }
        static_cast<void>(applyMisbehaviour(faults, option.name, value));
    }
    return contradiction(faults).empty() ? faults : Misbehaviour{};
}

Bytes drawRequest(Input &input)
{
    const std::uint8_t kind = input.byte();
    Bytes request = input.copy(input.byte());
    if (kind % 4 != 0)
        appendModbusCrc(request);
    return {request.begin(), request.end()}; // in memory of just their size
}

/// A request that was confirmed is made of records of whole registers, each behind a head of its own, up to
/// the frame's end. The last one stands in the image.
void requireStored(const Bytes &image, ByteView request)
{
    std::size_t at = 3;
    const std::size_t end = request.size() - 2;
    REQUIRE(request.size() <= 256 && request[2] == end - at && at < end);
    while (at < end) {
        REQUIRE(at + 7 < end && request[at] == 6 && request[at + 1] == 0 && request[at + 2] == 0);
        const std::size_t offset = ((request[at + 3] * std::size_t{256}) + request[at + 4]) * RecordBytes;
        const std::size_t size = ((request[at + 5] * std::size_t{256}) + request[at + 6]) * 2;
        REQUIRE(size > 0 && size <= RecordBytes && at + 7 + size <= end);
        const ByteView data = request.subspan(at + 7, size);
        at += 7 + size;
        REQUIRE(at < end || offset + size <= image.size());
        REQUIRE(at < end ||
                std::equal(data.begin(), data.end(), image.begin() + static_cast<std::ptrdiff_t>(offset)));
    }
}

void requireSense(const PanelModel &model, ByteView request, const Bytes &reply)
{
    REQUIRE(model.image().size() <= LongestImage);
    REQUIRE(model.changedFrom() <= model.image().size());
    const PanelModel::Hearing hearing = model.hearing(request);
    REQUIRE(reply.empty() == (hearing != PanelModel::Hearing::Addressed));
    if (reply.empty())
        return;
    REQUIRE(hasGoodCrc(reply));
    REQUIRE(reply.size() <= 256);
    if (reply[1] == 0x15)
        requireStored(model.image(), request);
    REQUIRE(reply[0] == request[0] && (reply[1] | 0x80) == (request[1] | 0x80));
}

void serve(MisbehavingPanel &panel, PanelModel &model, ByteView request)
{
    const auto length = requestLength(request);
    REQUIRE(!length || (*length >= 5 && *length <= 260));
    requireSense(model, request, model.answer(request));
    const Schedule schedule = panel.answer(request);
    std::uint64_t delayUs = schedule.hangUpDelayUs;
    for (const Burst &burst : schedule.bursts) {
        REQUIRE(!burst.bytes.empty());
        delayUs += burst.delayBeforeUs;
    }
    REQUIRE(delayUs <= LongestDelayUs);
    REQUIRE(panel.counts().requests == model.counts().requests);
    REQUIRE(panel.counts().badCrcs == model.counts().badCrcs);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const std::uint8_t address = input.byte();
    MisbehavingPanel panel(address, drawMisbehaviour(input));
    PanelModel model(address);
    while (!input.isEmpty())
        serve(panel, model, drawRequest(input));
    return 0;
}
