// SPDX-License-Identifier: MIT
#include "update/imagefile.h"

#include <QFileInfo>

#include <cerrno>
#include <cstring>

int systemErrorOf(QFileDevice::FileError error, const QString &fileName)
{
    const QFileInfo info(fileName);
    if (!info.exists())
        return ENOENT;
    if (info.isDir())
        return EISDIR;
    switch (error) {
    case QFileDevice::PermissionsError:
        return EACCES;
    case QFileDevice::ResourceError:
        return EMFILE;
    case QFileDevice::OpenError:
        return info.isReadable() ? EIO : EACCES;
    default:
        return EIO;
    }
}

bool ImageFile::open()
{
    if (file.fileName().isEmpty()) {
        error = ENOENT;
        return false;
    }
    errno = 0;
    if (file.open(QIODevice::ReadOnly))
        return true;
    error = errno;
    if (error == 0)
        error = systemErrorOf(file.error(), file.fileName());
    return false;
}

qint64 ImageFile::read(std::span<std::uint8_t> block)
{
    errno = 0;
    const qint64 count = file.read(reinterpret_cast<char *>(block.data()), static_cast<qint64>(block.size()));
    if (count < 0) {
        error = errno;
        if (error == 0)
            error = systemErrorOf(file.error(), file.fileName());
    }
    return count;
}

QString ImageFile::errorText() const
{
    return QString::fromLocal8Bit(std::strerror(error));
}

QString ImageFile::openErrorText() const
{
    return QStringLiteral("Can't open image file %1 %2").arg(file.fileName(), errorText());
}
