// SPDX-License-Identifier: MIT
#pragma once

#include "tests/walk/step.h"

#include <QString>

#include <functional>
#include <optional>

/// Where the program and the model of it differ.
struct Difference
{
    qsizetype step = 0; ///< counted from 0
    QString what;       ///< the first thing that differs
    QString report;     ///< all that differs, as text
};

/// What a walk has done.
struct WalkCounts
{
    qint64 steps = 0;
    qint64 runs = 0; ///< updates that began
    qint64 frames = 0;
    qint64 boxes = 0;
    qint64 starts = 0; ///< of the program
};

/// Walks the program and the model side by side, from a first start on. `next` gives each step, nothing at
/// the end; a step that nobody could take at that moment is left out. `onStep` hears of each one before it is
/// taken. The program has `patienceMs` to come to what the model says; `onDifference` ends the process, since
/// nobody knows what such a program still does. To be called on the thread of the event loop.
WalkCounts walk(const std::function<std::optional<Step>()> &next,
                const std::function<void(const Step &)> &onStep,
                const std::function<void(const Difference &)> &onDifference, int patienceMs);
