// SPDX-License-Identifier: MIT
#include "simulator/panelline.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <thread>

namespace simulator {

namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr std::size_t ReadBytes = 512;
constexpr milliseconds ParentCheckPeriod{200};
// poll() counts whole milliseconds and may come late, so the last stretch of a pause is slept exactly.
constexpr milliseconds FineSleep{3};

bool isReadable(const pollfd &entry)
{
    return (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

} // namespace

PanelLine::PanelLine(const PanelOptions &options, PseudoTerminal &terminal, const StopSignal &stop,
                     ReceivedImage &image)
    : settings(options),
      wire(terminal),
      stopSignal(stop),
      imageFile(image),
      simulated(options.address, options.misbehaviour),
      parent(getppid()),
      started(Clock::now())
{
}

PanelLine::End PanelLine::run()
{
    for (;;) {
        const Wait wait = waitForBytes();
        if (wait == Wait::Stopped)
            return End::Stopped;
        if (wait == Wait::Readable)
            takeBytes();
        // The gap also ends a request of known length that is damaged, or whose rest never comes.
        const bool complete = !pending.empty() && (wait == Wait::TimedOut || requestIsWhole());
        if (!complete)
            continue;
        if (const std::optional<End> end = serveRequest())
            return *end;
    }
}

// Without a request under way it waits as long as it takes; with one, until the gap that ends it.
PanelLine::Wait PanelLine::waitForBytes()
{
    const int idleMs = static_cast<int>(settings.idleMs);
    for (;;) {
        std::array<pollfd, 2> entries{{{wire.descriptor(), POLLIN, 0}, {stopSignal.descriptor(), POLLIN, 0}}};
        const int timeoutMs = pending.empty() ? static_cast<int>(ParentCheckPeriod.count()) : idleMs;
        const int ready = ::poll(entries.data(), entries.size(), timeoutMs);
        if (isReadable(entries[1]) || parentIsGone())
            return Wait::Stopped;
        if (ready > 0 && isReadable(entries[0]))
            return Wait::Readable;
        if (ready == 0 && !pending.empty())
            return Wait::TimedOut;
    }
}

// Returns false when the program is to end before then.
bool PanelLine::waitUntil(Clock::time_point when)
{
    while (when - Clock::now() > FineSleep) {
        const auto left = duration_cast<milliseconds>(when - Clock::now() - FineSleep) + milliseconds(1);
        pollfd entry{stopSignal.descriptor(), POLLIN, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::min(left, ParentCheckPeriod).count()));
        if ((ready > 0 && isReadable(entry)) || parentIsGone())
            return false;
    }
    std::this_thread::sleep_until(when);
    return true;
}

// A child whose parent ends is given another one.
bool PanelLine::parentIsGone() const
{
    return settings.exitWithParent && getppid() != parent;
}

void PanelLine::takeBytes()
{
    std::array<std::uint8_t, ReadBytes> buffer{};
    const auto bytes = wire.read(buffer);
    if (bytes.empty())
        return;
    if (pending.empty())
        measureGap(Clock::now());
    pending.insert(pending.end(), bytes.begin(), bytes.end());
}

bool PanelLine::requestIsWhole() const
{
    const std::optional<std::size_t> length = requestLength(pending);
    return length && *length <= pending.size() && hasGoodCrc(ByteView(pending).first(*length));
}

std::optional<PanelLine::End> PanelLine::serveRequest()
{
    const std::size_t size = requestIsWhole() ? *requestLength(pending) : pending.size();
    const auto end = pending.begin() + static_cast<std::ptrdiff_t>(size);
    const Bytes request(pending.begin(), end);
    pending.erase(pending.begin(), end);
    log("request", request);
    exchangeEnded = Clock::now();

    const Schedule schedule = simulated.answer(request);
    imageFile.follow(simulated.model().image(), simulated.model().changedFrom());
    if (!imageFile.isGood())
        return End::OutputFailed;
    return deliver(schedule);
}

// Each delay counts from the planned time of the burst before, so that the pauses do not drift.
std::optional<PanelLine::End> PanelLine::deliver(const Schedule &schedule)
{
    Clock::time_point when = Clock::now();
    for (const Burst &burst : schedule.bursts) {
        when += microseconds(burst.delayBeforeUs);
        if (!waitUntil(when))
            return End::Stopped;
        // From before it is handed over: a gap may seem longer than it is, but never shorter.
        exchangeEnded = Clock::now();
        const std::size_t taken = wire.write(burst.bytes);
        log("reply", burst.bytes);
        if (taken < burst.bytes.size())
            log("lost", ByteView(burst.bytes).subspan(taken));
    }
    if (!schedule.hangUp)
        return std::nullopt;
    if (!waitUntil(when + microseconds(schedule.hangUpDelayUs)))
        return End::Stopped;
    wire.hangUp();
    log("hang-up", {});
    return End::HungUp;
}

void PanelLine::measureGap(Clock::time_point now)
{
    if (!exchangeEnded)
        return;
    const auto gap = duration_cast<microseconds>(now - *exchangeEnded);
    measured.lowest = std::min(gap, measured.lowest.value_or(gap));
    measured.highest = std::max(gap, measured.highest.value_or(gap));
}

// One line: seconds since the start, what it is, the bytes.
void PanelLine::log(const char *what, ByteView bytes) const
{
    if (!settings.log)
        return;
    constexpr std::string_view Digits = "0123456789ABCDEF";
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        hex += ' ';
        hex += Digits[byte >> 4];
        hex += Digits[byte & 0x0F];
    }
    const std::chrono::duration<double> seconds = Clock::now() - started;
    std::fprintf(stderr, "%.6f %s%s\n", seconds.count(), what, hex.c_str());
}

} // namespace simulator
