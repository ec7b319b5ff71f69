// SPDX-License-Identifier: MIT
#pragma once

#include <QAbstractEventDispatcher>
#include <QList>

#include <functional>
#include <optional>

/// A clock of the target's own: nothing waits, and a pause of ten seconds is over at once. What sleeps, and
/// what an event loop of this thread waits for, moves the clock on; QDeadlineTimer goes by it. There is one,
/// made before the application.
class VirtualTime : public QAbstractEventDispatcher
{
public:
    /// What happens outside, beside the timers: when the next thing does, and has it happen.
    struct Outside
    {
        std::function<std::optional<qint64>()> next;
        std::function<void()> happen;
    };

    explicit VirtualTime(Outside world);

    /// In ns, as everything here.
    static qint64 now();
    static void sleepNs(qint64 ns);

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    void registerTimer(int timerId, qint64 interval, Qt::TimerType timerType, QObject *object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int timerId) override;
    void wakeUp() override {}
    void interrupt() override {}
    void registerSocketNotifier(QSocketNotifier *notifier) override;
    void unregisterSocketNotifier(QSocketNotifier *notifier) override;

private:
    struct Timer
    {
        int id;
        qint64 intervalMs;
        Qt::TimerType type;
        QObject *object;
        qint64 dueNs;
    };

    Outside outside;
    QList<Timer> timers;
};
