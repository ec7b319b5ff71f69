// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/irreceiver.h"
#include "simulator/misbehavingpanel.h"
#include "simulator/receivedimage.h"
#include "simulator/sub20settings.h"

#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace simulator {

/// The numbers that sub_ir_config takes behind the handle.
struct IrConfig
{
    int carrierHz;
    int first;
    int second;
    int third;

    bool operator==(const IrConfig &) const = default;
};

/// The numbers that sub_rs_timing takes behind the handle.
struct RsTiming
{
    int flags;
    int txSpacingUs;
    int replyTimeoutUs;
    int interByteTimeoutUs;
};

/// What of a scheduled reply an adapter with given time-outs receives, and how long that takes.
struct RsReception
{
    Bytes bytes;
    std::chrono::microseconds duration{0};
};

RsReception receiveReply(const Schedule &schedule, const RsTiming &timing, std::size_t largestSize);

/// The simulated adapters, with one panel behind all of them. Its members are the functions of the adapter
/// library; any thread may call them, and none waits for another one's transfer.
class Sub20Bus
{
public:
    /// The process's one bus; it lives until the process ends. Every failure is put into `lastError`.
    static Sub20Bus &instance(int &lastError);

    void *findDevices(void *first);
    void *open(void *device);
    int close(void *handle);
    char *errorText(int code);
    int irConfig(void *handle, const IrConfig &config);
    int irTx(void *handle, int size, const char *data);
    int rsTiming(void *handle, const RsTiming &timing);
    int rsXfer(void *handle, const char *tx, int txSize, char *rx, int rxSize);

private:
    struct Handle
    {
        bool open = false;
        bool busy = false; // a transfer is under way
        std::size_t adapter = 0;
        std::optional<IrConfig> ir;
        std::uint32_t irTransmissions = 0; // since sub_ir_config
        RsTiming rs{0, 0, 1'000'000, 10'000};
    };

    /// What begins afresh when the environment changes.
    struct Simulation
    {
        explicit Simulation(const Sub20Settings &wanted);

        Sub20Settings settings;
        IrReceiver receiver;
        MisbehavingPanel panel;
        ReceivedImage irImage;
        ReceivedImage rsImage;
        std::map<std::string, std::uint32_t> calls; // by function name
        std::uint32_t transfers = 0;
        bool pulledOut = false;
    };

    /// A call that may go on has a handle and no refusal.
    struct Admission
    {
        Handle *handle = nullptr;
        std::optional<int> refusal;
    };

    explicit Sub20Bus(int &lastError);

    // All below are called with the mutex held.
    void refresh();
    std::uint32_t adapters() const;
    int fail(int code, std::optional<int> error = std::nullopt);
    std::optional<int> countCall(const char *function);
    Admission admit(const char *function, void *pointer);
    Admission admitTransfer(const char *function, void *pointer, bool goodArguments);
    Handle *find(const void *pointer);
    Handle &freshHandle();
    std::string name(const void *pointer);
    void emitIr(Handle &handle, ByteView frame);
    std::optional<std::size_t> adapterIndex(const void *device) const;
    std::string deviceName(const void *device) const;
    void logCall(const std::string &call, const std::string &result);
    void logMisuse(const std::string &what);
    void logCounts();
    void logLine(const std::string &line);

    std::mutex mutex;
    int &lastError;
    std::array<char, MostAdapters> devices{}; // their addresses are the device values
    std::deque<Handle> handles; // their addresses are the handle values, so none is ever removed
    std::map<int, std::string> errorTexts;
    std::string environment;
    std::unique_ptr<Simulation> simulation;
};

} // namespace simulator
