// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/misbehavingpanel.h"
#include "simulator/paneloptions.h"
#include "simulator/pseudoterminal.h"
#include "simulator/receivedimage.h"
#include "simulator/stopsignal.h"

#include <sys/types.h>

#include <chrono>
#include <optional>

namespace simulator {

/// Serves one simulated panel on one pseudo-terminal until a signal, a planned hang-up, the end of the parent
/// or an image file that cannot be written ends it.
class PanelLine
{
public:
    enum class End { Stopped, HungUp, OutputFailed };

    using Clock = std::chrono::steady_clock;

    /// From the end of a reply, or of a request that got none, to the first byte of the next request.
    struct Gaps
    {
        std::optional<std::chrono::microseconds> lowest;
        std::optional<std::chrono::microseconds> highest;
    };

    PanelLine(const PanelOptions &options, PseudoTerminal &terminal, const StopSignal &stop,
              ReceivedImage &image);

    End run();

    const MisbehavingPanel &panel() const { return simulated; }
    const Gaps &gaps() const { return measured; }

private:
    enum class Wait { Readable, TimedOut, Stopped };

    Wait waitForBytes();
    bool waitUntil(Clock::time_point when);
    bool parentIsGone() const;
    void takeBytes();
    bool requestIsWhole() const;
    std::optional<End> serveRequest();
    std::optional<End> deliver(const Schedule &schedule);
    void measureGap(Clock::time_point now);
    void log(const char *what, ByteView bytes) const;

    PanelOptions settings;
    PseudoTerminal &wire;
    const StopSignal &stopSignal;
    ReceivedImage &imageFile;
    MisbehavingPanel simulated;
    Bytes pending; // bytes that have arrived and are no whole request yet
    pid_t parent;
    Clock::time_point started;
    std::optional<Clock::time_point> exchangeEnded;
    Gaps measured;
};

} // namespace simulator
