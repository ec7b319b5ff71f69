// SPDX-License-Identifier: MIT
#pragma once

namespace simulator {

/// Turns SIGINT, SIGTERM and SIGHUP into a descriptor that becomes readable, so that they end a poll() and
/// not the program. One at a time; it holds for the rest of the process.
class StopSignal
{
public:
    /// Throws std::system_error when the signals cannot be caught.
    StopSignal();

    /// For poll(): readable once a signal has come, and for good.
    int descriptor() const;
};

} // namespace simulator
