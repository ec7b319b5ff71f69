// SPDX-License-Identifier: MIT
#include "log/filelock.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <sys/file.h>
#include <sys/stat.h>

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

FileLock::~FileLock()
{
    if (held && file.isOpen())
        ::flock(file.handle(), LOCK_UN);
}

bool FileLock::tryLock()
{
    return ::flock(file.handle(), LOCK_EX | LOCK_NB) == 0;
}

bool FileLock::isCurrent() const
{
    struct stat opened
    {
    };
    struct stat named
    {
    };
    return ::fstat(file.handle(), &opened) == 0 &&
           ::stat(QFile::encodeName(file.fileName()).constData(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}
