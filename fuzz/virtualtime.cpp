// SPDX-License-Identifier: MIT
#include "fuzz/virtualtime.h"

#include "fuzz/input.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimerEvent>

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

constexpr qint64 NsPerMs = 1'000'000;
constexpr qint64 NsPerSecond = 1'000'000'000;

/// Far from 0, which may have a meaning of its own.
qint64 clockNs = 1000 * NsPerSecond;

} // namespace

// These two stand before the library's: for Qt's timers and deadlines, and for what the program sleeps.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_MONOTONIC)
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    time->tv_sec = clockNs / NsPerSecond;
    time->tv_nsec = clockNs % NsPerSecond;
    return 0;
}

void QThread::msleep(unsigned long ms)
{
    VirtualTime::sleepNs(static_cast<qint64>(ms) * NsPerMs);
}

VirtualTime::VirtualTime(Outside world) : outside(std::move(world)) {}

qint64 VirtualTime::now()
{
    return clockNs;
}

void VirtualTime::sleepNs(qint64 ns)
{
    clockNs += ns;
}

bool VirtualTime::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    QCoreApplication::sendPostedEvents();
    const auto first = std::min_element(timers.begin(), timers.end(),
                                        [](const Timer &a, const Timer &b) { return a.dueNs < b.dueNs; });
    const std::optional<qint64> event = outside.next();
    const bool isEventFirst = event && (first == timers.end() || *event <= first->dueNs);
    REQUIRE(isEventFirst || first != timers.end()); // nobody waits for nothing
    const qint64 dueNs = isEventFirst ? *event : first->dueNs;
    if (dueNs > clockNs && !flags.testFlag(QEventLoop::WaitForMoreEvents))
        return false;
    clockNs = std::max(clockNs, dueNs);
    if (isEventFirst) {
        outside.happen();
    } else {
        first->dueNs = clockNs + first->intervalMs * NsPerMs;
        QTimerEvent expired(first->id);
        QCoreApplication::sendEvent(first->object, &expired);
    }
    return true;
}

void VirtualTime::registerTimer(int timerId, qint64 interval, Qt::TimerType timerType, QObject *object)
{
    timers.append({timerId, interval, timerType, object, clockNs + interval * NsPerMs});
}

bool VirtualTime::unregisterTimer(int timerId)
{
    return timers.removeIf([timerId](const Timer &timer) { return timer.id == timerId; }) > 0;
}

bool VirtualTime::unregisterTimers(QObject *object)
{
    return timers.removeIf([object](const Timer &timer) { return timer.object == object; }) > 0;
}

QList<QAbstractEventDispatcher::TimerInfo> VirtualTime::registeredTimers(QObject *object) const
{
    QList<TimerInfo> list;
    for (const Timer &timer : timers) {
        if (timer.object == object)
            list.append({timer.id, static_cast<int>(timer.intervalMs), timer.type});
    }
    return list;
}

int VirtualTime::remainingTime(int timerId)
{
    for (const Timer &timer : timers) {
        if (timer.id == timerId)
            return static_cast<int>(std::max<qint64>(timer.dueNs - clockNs, 0) / NsPerMs);
    }
    return -1;
}

void VirtualTime::registerSocketNotifier(QSocketNotifier *)
{
    std::abort(); // no target waits for a descriptor
}

void VirtualTime::unregisterSocketNotifier(QSocketNotifier *) {}
