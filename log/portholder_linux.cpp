// SPDX-License-Identifier: MIT
#include "log/portholder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace {

bool isInGroup(gid_t group)
{
    if (::getegid() == group)
        return true;
    const int count = ::getgroups(0, nullptr);
    std::vector<gid_t> groups(count > 0 ? static_cast<std::size_t>(count) : 0);
    if (::getgroups(count, groups.data()) < 0)
        return false;
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

QString nameOf(const QString &process)
{
    QFile file(process + QStringLiteral("/comm"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()).trimmed()
                                          : QStringLiteral("a program without a name");
}

/// Whether it is another file of the same device, or the same file: a device that is made up may have its
/// number under one of its names alone.
bool isSameDevice(const struct stat &file, const struct stat &port)
{
    return S_ISCHR(file.st_mode) &&
           (file.st_rdev == port.st_rdev || (file.st_dev == port.st_dev && file.st_ino == port.st_ino));
}

/// Whether the process has the port open; nothing when it cannot be looked into.
std::optional<bool> holds(const QString &process, const struct stat &port)
{
    const QByteArray folder = QFile::encodeName(process + QStringLiteral("/fd"));
    if (::access(folder.constData(), R_OK | X_OK) != 0)
        return errno == ENOENT ? std::optional(false) : std::nullopt; // it may have ended
    const QStringList files =
        QDir(process + QStringLiteral("/fd")).entryList(QDir::AllEntries | QDir::System);
    for (const QString &file : files) {
        struct stat status
        {
        };
        const QByteArray path = folder + '/' + QFile::encodeName(file);
        // A file elsewhere may be on a server that does not answer, and looking at it would never end.
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(path.constData(), error).string();
        if (target.starts_with("/dev/") && ::stat(path.constData(), &status) == 0 &&
            isSameDevice(status, port))
            return true;
    }
    return false;
}

void findHolders(PortAccess &access, const struct stat &port)
{
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        bool isProcess = false;
        const qint64 id = name.toLongLong(&isProcess);
        if (!isProcess)
            continue;
        const QString process = QStringLiteral("/proc/") + name;
        const std::optional<bool> isHolder = holds(process, port);
        if (!isHolder)
            ++access.unseenProcesses;
        else if (*isHolder)
            access.holders += FileHolder{id, nameOf(process)};
    }
}

} // namespace

QStringList whyPortIsRefused(const QString &portName)
{
    PortAccess access;
    access.path = portName.startsWith(u'/') ? portName : QStringLiteral("/dev/") + portName;
    const QByteArray path = QFile::encodeName(access.path);
    struct stat status
    {
    };
    access.exists = ::stat(path.constData(), &status) == 0;
    if (access.exists) {
        access.mayBeUsed = ::access(path.constData(), R_OK | W_OK) == 0;
        const QString group = QFileInfo(access.path).group();
        access.group = group.isEmpty() ? QString::number(status.st_gid) : group;
        access.isInGroup = isInGroup(status.st_gid);
        findHolders(access, status);
    }
    return portAccessTexts(access);
}
