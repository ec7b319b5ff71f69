// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// What a process holds at a moment.
struct ProcessFigures
{
    static ProcessFigures of(qint64 processId);

    qint64 descriptors = 0;
    qint64 threads = 0;
    /// Its share of the memory (PSS). Of what several programs have in common it is charged less the more of
    /// them run.
    qint64 shareKiB = 0;
    /// The part of that which no file stands behind: its own, whoever else runs.
    qint64 ownKiB = 0;
};
