// SPDX-License-Identifier: MIT
#pragma once

#include "update/runfigures.h"
#include "update/updatejob.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>

struct SessionEnd;

/// Writes into the log file how each run begins and how it ends: one beginning and one end for each. Without
/// a log file, the run takes its course and nothing else is done.
class RunLog
{
public:
    /// Runs the loader and returns its result. On the loader's thread, which has noteEnd() follow.
    [[nodiscard]] int watch(const UpdateJob &chosen, const std::atomic<bool> &stopRequested,
                            const std::function<int()> &loader);
    /// For the loader that runs; null without a log file.
    [[nodiscard]] RunFigures *figures();
    /// On the window's thread, as is noteEnd(): the run has reported an error.
    void noteError(const QString &text);
    /// The run has ended. Without effect for one whose loader has not begun.
    void noteEnd(const SessionEnd &end, bool windowIsClosed);

private:
    void noteBegin(const std::atomic<bool> &stopRequested);
    void noteReturn();
    void note(const QString &text) const;

    // Belongs to the loader's thread while the loader runs.
    int number = 0;
    bool isRunning = false;
    UpdateJob job;
    RunFigures loaderFigures;
    qint64 pieces = 0;
    QElapsedTimer timer;
    qint64 durationMs = 0;

    // Belongs to the window's thread.
    QStringList errors;
};
