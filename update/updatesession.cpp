// SPDX-License-Identifier: MIT
#include "update/updatesession.h"

#include "update/firmwareloader.h"

#include <QtConcurrentRun>

#include <utility>

namespace {

int resultOf(const QFuture<int> &future)
{
    try {
        return future.result();
    } catch (...) {
        return LoaderFailed;
    }
}

} // namespace

UpdateSession::UpdateSession(QFuture<int> &windowsFuture, QFutureWatcher<int> &windowsWatcher,
                             std::atomic<bool> &windowsStopFlag)
    : future(windowsFuture), watcher(windowsWatcher), stopRequested(windowsStopFlag)
{
}

void UpdateSession::start(Loader loader)
{
    if (current == State::Closed)
        return;
    if (current == State::Idle) {
        begin(std::move(loader));
    } else {
        waiting = std::move(loader);
        current = State::Restarting;
    }
}

void UpdateSession::begin(Loader loader)
{
    stopRequested = false;
    errorWasReported = false;
    endIsDue = true;
    current = State::Running;
    future = QtConcurrent::run(
        [this, run = std::move(loader)] { return current == State::Closed ? LoaderFailed : run(); });
    watcher.setFuture(future);
}

void UpdateSession::stop()
{
    stopRequested = true;
    waiting = nullptr;
    if (current == State::Running || current == State::Restarting)
        current = endIsDue ? State::Stopping : State::Idle;
}

void UpdateSession::forgetStop()
{
    if (current == State::Idle)
        stopRequested = false;
}

std::optional<SessionEnd> UpdateSession::finish()
{
    // Of a loader that threw, the notices come before its future is finished.
    if (!endIsDue || !(future.isFinished() || future.isCanceled()))
        return std::nullopt;
    endIsDue = false;
    if (current != State::Restarting && current != State::Closed)
        current = State::Idle;
    return SessionEnd{resultOf(future), stopRequested, errorWasReported, current == State::Restarting};
}

void UpdateSession::restart()
{
    if (current == State::Restarting)
        begin(std::exchange(waiting, nullptr));
}

void UpdateSession::close()
{
    current = State::Closed;
    stopRequested = true;
    waiting = nullptr;
}

void UpdateSession::waitForLoader()
{
    try {
        watcher.waitForFinished();
    } catch (...) {
        // finish() gives what a loader that threw stands for.
    }
}
