// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/misbehaviour.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// From which call on a function fails, and how.
struct PlannedFailure
{
    std::uint32_t fromCall = 1; ///< counted from 1
    int result = 0;             ///< what the function returns; one that returns a pointer returns null
    int error = 0;              ///< what sub_errno then holds
};

/// From which transfer on the adapter is gone.
struct PulledOut
{
    std::uint32_t atTransfer = 1; ///< counted from 1 over both kinds of transfers
    int error = 0;
};

/// One or all frames of an infrared upload, and which of the three copies.
struct CopyOfFrame
{
    std::optional<std::uint32_t> frame; ///< counted from 0; empty: every frame
    std::uint32_t copy = 1;             ///< 1 to 3
};

/// How long a transfer takes.
struct TransferTime
{
    bool real = false;    ///< as long as the bytes need on the carrier or the line
    std::uint32_t ms = 0; ///< otherwise so long
};

/// What the environment asks of the simulated adapter library.
struct Sub20Settings
{
    std::uint32_t adapters = 1;
    std::string adaptersFile; ///< holds the number of adapters; stands above `adapters`
    std::uint8_t address = DefaultPanelAddress;
    std::string irImageFile;
    std::string rsImageFile;
    std::string logFile;
    bool logData = false;
    bool reuseHandles = false;
    bool exclusive = false;
    bool noErrorText = false;
    std::string irGateFile; ///< holds the number of infrared transmissions that may end
    TransferTime irTime;
    TransferTime rsTime;
    std::optional<PulledOut> pulledOut;
    std::vector<CopyOfFrame> lostCopies;
    std::vector<CopyOfFrame> damagedCopies;
    std::map<std::string, PlannedFailure> failures; // by function name
    Misbehaviour misbehaviour;
    std::vector<std::string> problems; ///< one text per variable that makes no sense; it then has no effect
};

/// Number of adapters that can be plugged in at once.
inline constexpr std::uint32_t MostAdapters = 16;

/// Error code of everything that meets an adapter which is no longer there.
inline constexpr int AdapterGoneError = -5;

/// All variables and their values as one text, to notice a change by.
std::string sub20Environment();

Sub20Settings readSub20Settings();

/// How many adapters are plugged in now. A file that cannot be read, or holds no number, stands for none.
std::uint32_t adaptersNow(const Sub20Settings &settings);

/// Whether infrared transmission `number`, counted from 1, may end now. A file that cannot be read, or holds
/// no number, lets none end.
bool mayTransmissionEnd(const Sub20Settings &settings, std::uint32_t number);

} // namespace simulator
