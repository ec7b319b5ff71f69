// SPDX-License-Identifier: MIT
#include "log/filelock.h"

#include <QFile>

#include <io.h>
#include <windows.h>

namespace {

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
    constexpr DWORD AtOnce = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
    return LockFileEx(handleOf(file), AtOnce, 0, 1, 0, &place) != 0 || GetLastError() != ERROR_LOCK_VIOLATION;
}

/// Windows renames no file that is open.
bool FileLock::isCurrent() const
{
    return true;
}
