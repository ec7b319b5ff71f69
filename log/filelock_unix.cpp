// SPDX-License-Identifier: MIT
#include "log/filelock.h"

#include <QFile>

#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

FileLock::~FileLock()
{
    if (held && file.isOpen())
        ::flock(file.handle(), LOCK_UN);
}

bool FileLock::tryLock()
{
    return ::flock(file.handle(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
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
