// SPDX-License-Identifier: MIT
#pragma once

#include <QFuture>
#include <QFutureWatcher>

#include <atomic>
#include <functional>
#include <optional>

/// How a run has ended.
struct SessionEnd
{
    /// What the loader returned; LoaderFailed for one that threw.
    int result = 0;
    bool wasStopped = false;
    /// The run has reported an error by itself.
    bool errorWasReported = false;
    /// Another start waits for this end: restart() begins it.
    bool restarts = false;
};

/// Which run is on the line, and which one comes next. There is never more than one: a start that comes
/// before the stopped loader has returned waits for it, and a stop belongs to the run it was pressed for.
///
///     Idle ──start──▶ Running ──stop──▶ Stopping ──start──▶ Restarting
///      ▲                │                  │  ▲                │  │
///      ╰─────finish─────┴──────finish──────╯  ╰──────stop──────╯  ╰─finish, restart──▶ Running
///
/// From each of them close() leads to Closed, where nothing begins any more.
///
/// It works on the future, the watcher and the stop flag of the window that owns it. All functions belong to
/// that window's thread; the loaders run on the global thread pool.
class UpdateSession
{
public:
    enum class State { Idle, Running, Stopping, Restarting, Closed };
    /// Sends one image and returns its result; runs on a pool thread. It polls the stop flag.
    using Loader = std::function<int()>;

    UpdateSession(QFuture<int> &future, QFutureWatcher<int> &watcher, std::atomic<bool> &stopRequested);

    UpdateSession(const UpdateSession &) = delete;
    UpdateSession &operator=(const UpdateSession &) = delete;

    [[nodiscard]] State state() const { return current; }

    /// Begins the run, or has it wait for the end of the one before. After close() it does neither.
    void start(Loader loader);
    /// Asks the run to stop and returns at once. A start that waits is forgotten.
    void stop();
    /// Takes back a stop that was meant for a run that has ended. A run that is still stopping keeps its own.
    void forgetStop();
    /// To be called when the run reports an error: its end says so.
    void noteError() { errorWasReported = true; }
    /// Takes the end of the run whose future has finished. Nothing when there is none to take: a loader that
    /// threw is both canceled and finished, but has one end.
    [[nodiscard]] std::optional<SessionEnd> finish();
    /// Begins the run that has waited for the end that finish() has just taken.
    void restart();
    /// Asks the run to stop. From now on no loader begins, not even one whose thread is about to.
    void close();
    /// Returns when the run's loader has returned. Call close() before.
    void waitForLoader();

private:
    void begin(Loader loader);

    QFuture<int> &future;
    QFutureWatcher<int> &watcher;
    std::atomic<bool> &stopRequested;

    std::atomic<State> current = State::Idle;
    /// A loader was started, and its end is not taken yet.
    bool endIsDue = false;
    bool errorWasReported = false;
    Loader waiting;
};
