// SPDX-License-Identifier: MIT
#include "simulator/sub20bus.h"

#include <algorithm>
#include <fstream>
#include <iostream>

// The state behind the library's functions: handles, planned failures, the log of calls, and the receiving
// end of the RS-485 port.

namespace simulator {

using std::chrono::microseconds;

RsReception receiveReply(const Schedule &schedule, const RsTiming &timing, std::size_t largestSize)
{
    const auto waited = [](int us) { return static_cast<std::uint64_t>(us); };
    RsReception reception;
    std::uint64_t durationUs = 0;
    std::uint64_t patienceUs = waited(timing.replyTimeoutUs);
    for (const Burst &burst : schedule.bursts) {
        if (burst.delayBeforeUs > patienceUs)
            break;
        durationUs += burst.delayBeforeUs;
        patienceUs = waited(timing.interByteTimeoutUs);
        reception.bytes.insert(reception.bytes.end(), burst.bytes.begin(), burst.bytes.end());
    }
    if (reception.bytes.empty())
        durationUs = schedule.hangUp ? schedule.hangUpDelayUs : waited(timing.replyTimeoutUs);
    if (reception.bytes.size() > largestSize)
        reception.bytes.resize(largestSize);
    reception.duration = microseconds(durationUs);
    return reception;
}

Sub20Bus::Simulation::Simulation(const Sub20Settings &wanted)
    : settings(wanted),
      panel(wanted.address, wanted.misbehaviour),
      irImage(wanted.irImageFile),
      rsImage(wanted.rsImageFile)
{
}

Sub20Bus::Sub20Bus(int &errorVariable) : lastError(errorVariable) {}

Sub20Bus &Sub20Bus::instance(int &errorVariable)
{
    // Never destroyed: a worker thread may still be calling while the process ends.
    static Sub20Bus *const bus = new Sub20Bus(errorVariable);
    return *bus;
}

void Sub20Bus::refresh()
{
    std::string now = sub20Environment();
    if (simulation && now == environment)
        return;
    environment = std::move(now);
    simulation = std::make_unique<Simulation>(readSub20Settings());
    for (const std::string &problem : simulation->settings.problems) {
        std::cerr << "simulated SUB-20: " << problem << std::endl;
        logLine("bad-setting " + problem);
    }
}

std::uint32_t Sub20Bus::adapters() const
{
    return simulation->pulledOut ? 0 : adaptersNow(simulation->settings);
}

int Sub20Bus::fail(int code, std::optional<int> error)
{
    lastError = error.value_or(code);
    return code;
}

// Returns what the function is to answer where its failure is planned.
std::optional<int> Sub20Bus::countCall(const char *function)
{
    const std::uint32_t call = ++simulation->calls[function];
    const auto planned = simulation->settings.failures.find(function);
    if (planned == simulation->settings.failures.end() || call < planned->second.fromCall)
        return std::nullopt;
    return fail(planned->second.result, planned->second.error);
}

Sub20Bus::Handle *Sub20Bus::find(const void *pointer)
{
    const auto found = std::find_if(handles.begin(), handles.end(),
                                    [pointer](const Handle &handle) { return &handle == pointer; });
    return found != handles.end() ? &*found : nullptr;
}

Sub20Bus::Handle &Sub20Bus::freshHandle()
{
    const auto isFree = [](const Handle &handle) { return !handle.open && !handle.busy; };
    const auto free = std::find_if(handles.begin(), handles.end(), isFree);
    if (!simulation->settings.reuseHandles || free == handles.end())
        return handles.emplace_back();
    *free = Handle{};
    return *free;
}

// h1 is the first handle ever given out, h2 the second.
std::string Sub20Bus::name(const void *pointer)
{
    if (pointer == nullptr)
        return "null";
    for (std::size_t i = 0; i < handles.size(); ++i) {
        if (&handles[i] == pointer)
            return "h" + std::to_string(i + 1);
    }
    return "unknown";
}

std::optional<std::size_t> Sub20Bus::adapterIndex(const void *device) const
{
    for (std::size_t i = 0; i < devices.size(); ++i) {
        if (&devices[i] == device)
            return i;
    }
    return std::nullopt;
}

// d1 is the first adapter.
std::string Sub20Bus::deviceName(const void *device) const
{
    if (device == nullptr)
        return "null";
    const std::optional<std::size_t> index = adapterIndex(device);
    return index ? "d" + std::to_string(*index + 1) : "unknown";
}

void Sub20Bus::logCall(const std::string &call, const std::string &result)
{
    logLine(call + " = " + result);
}

void Sub20Bus::logMisuse(const std::string &what)
{
    logLine("misuse " + what);
}

void Sub20Bus::logCounts()
{
    const auto entry = [](const char *key, std::uint64_t count) {
        return std::string(" ") + key + "=" + std::to_string(count);
    };
    const IrReceiver::Counts &ir = simulation->receiver.counts();
    logLine("infrared" + entry("frames", ir.frames) + entry("good", ir.good) + entry("damaged", ir.damaged) +
            entry("duplicates", ir.duplicates) + entry("out-of-order", ir.outOfOrder));
    const PanelModel::Counts rs = simulation->panel.counts();
    logLine("modbus" + entry("requests", rs.requests) + entry("records", rs.records) +
            entry("bad-crc", rs.badCrcs) + entry("other-address", rs.otherAddresses) +
            entry("broadcasts", rs.broadcasts) + entry("exceptions", rs.exceptions));
}

// The file is opened anew each time, so that it is complete at every moment and may be removed in between.
// Its lines are the same on every system.
void Sub20Bus::logLine(const std::string &line)
{
    if (simulation->settings.logFile.empty())
        return;
    std::ofstream file(simulation->settings.logFile, std::ios::app | std::ios::binary);
    file << line << '\n';
}

} // namespace simulator
