// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

class QWidget;

/// Keeps the computer from falling asleep, and from being shut down, while an update runs: by the ways of the
/// operating system, without a word to the user. It lives on the GUI thread and never has it wait.
class StayAwake
{
public:
    StayAwake() = default;
    /// Gives back what is held.
    virtual ~StayAwake() = default;

    StayAwake(const StayAwake &) = delete;
    StayAwake &operator=(const StayAwake &) = delete;

    /// A run begins. Changes nothing while the computer is kept awake for the run before.
    virtual void hold() = 0;
    /// No run is left.
    virtual void release() = 0;
};

/// The one for this operating system. On Windows, the window's name stands beside the reason.
[[nodiscard]] std::unique_ptr<StayAwake> makeStayAwake(QWidget &window);
