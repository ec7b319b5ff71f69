// SPDX-License-Identifier: MIT
#include "log/filelock.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <io.h>
#include <windows.h>

namespace {

constexpr int LongestWaitMs = 100;
/// Windows keeps others from what is locked, readers as well. So the lock is on a byte that no file has.
constexpr DWORD FarBehindTheEnd = 0x7FFFFFFF;

HANDLE handleOf(const QFile &file)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()));
}

OVERLAPPED lockedByte()
{
    OVERLAPPED place{};
    place.OffsetHigh = FarBehindTheEnd;
    return place;
}

} // namespace

FileLock::FileLock(QFile &locked) : file(locked), held(tryLock())
{
    const QDeadlineTimer end(LongestWaitMs, Qt::PreciseTimer);
    while (!held && !end.hasExpired()) {
        QThread::msleep(1);
        held = tryLock();
    }
}

FileLock::~FileLock()
{
    if (!held || !file.isOpen())
        return;
    OVERLAPPED place = lockedByte();
    UnlockFileEx(handleOf(file), 0, 1, 0, &place);
}

bool FileLock::tryLock()
{
    OVERLAPPED place = lockedByte();
    return LockFileEx(handleOf(file), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) !=
           0;
}

/// Windows renames no file that is open.
bool FileLock::isCurrent() const
{
    return true;
}
