// SPDX-License-Identifier: MIT
#include "log/filelock.h"

#include <QDeadlineTimer>
#include <QThread>

namespace {

constexpr int LongestWaitMs = 100;

} // namespace

FileLock::FileLock(QFile &locked) : file(locked), held(tryLock())
{
    const QDeadlineTimer end(LongestWaitMs, Qt::PreciseTimer);
    while (!held && !end.hasExpired()) {
        QThread::msleep(1);
        held = tryLock();
    }
}
