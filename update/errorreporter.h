// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QObject>
#include <QString>
#include <QWaitCondition>

#include <functional>

/// Has errors shown on the thread that made it, the only one that may show a box, whichever thread reports
/// them.
class ErrorReporter
{
public:
    /// `show` shows the box and returns when it is closed. It is called after close(), too, and looks at
    /// isClosed(): a text can still be written down where no box comes up any more.
    explicit ErrorReporter(std::function<void(const QString &)> show);

    ErrorReporter(const ErrorReporter &) = delete;
    ErrorReporter &operator=(const ErrorReporter &) = delete;

    /// Any thread. Returns when the box is closed, or, on another thread than the box's, after close().
    void report(const QString &text);
    /// To be called on the box's thread when there is nobody left to show anything to: threads that wait go
    /// on, and nobody waits from now on.
    void close();
    /// On the box's thread, when the threads that report are done: shows what is still on its way.
    void showRest();
    /// On the box's thread.
    [[nodiscard]] bool isClosed() const { return closed; }

private:
    const std::function<void(const QString &)> show;
    QMutex mutex;
    QWaitCondition changed;
    bool closed = false;
    /// Lives on the box's thread, and what was queued for it goes with it.
    QObject receiver;
};
