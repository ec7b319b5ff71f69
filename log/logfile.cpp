// SPDX-License-Identifier: MIT
#include "log/logfile.h"

#include "log/filelock.h"

#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>

#include <filesystem>
#include <system_error>

namespace {

/// So often another program may be quicker to rename the file.
constexpr int MostTries = 5;

} // namespace

LogFile::LogFile(const QString &path, qint64 largestSize) : filePath(path), largest(largestSize) {}

bool LogFile::write(const QByteArray &line)
{
    const QMutexLocker oneThread(&mutex);
    for (int tries = 0;; ++tries) {
        QFile file(filePath);
        // Unbuffered: the line goes out in one call.
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
            lastProblem = file.errorString();
            return false;
        }
        const FileLock oneProgram(file);
        const bool isAnother =
            oneProgram.isHeld() && (!oneProgram.isCurrent() || wasMovedAway(file, line.size()));
        if (isAnother && tries < MostTries)
            continue;
        lastProblem = append(file, line, oneProgram.isHeld());
        return lastProblem.isEmpty();
    }
}

/// Makes room for so many bytes where the file has none. Windows renames no file that is open, so there it is
/// copied and emptied; where there is no room for the copy, the old lines go.
bool LogFile::wasMovedAway(QFile &file, qint64 bytes) const
{
    if (file.size() == 0 || file.size() + bytes <= largest)
        return false;
    const QString previous = filePath + QStringLiteral(".1");
    std::error_code error;
    std::filesystem::rename(QFileInfo(filePath).filesystemFilePath(),
                            QFileInfo(previous).filesystemFilePath(), error);
    if (!error)
        return true;
    QFile::remove(previous);
    QFile::copy(filePath, previous);
    file.resize(0);
    return false;
}

/// Why the line is not in the file; empty when it is.
QString LogFile::append(QFile &file, const QByteArray &line, bool isLocked)
{
    const qint64 before = file.size();
    if (!file.isSequential())
        file.seek(before); // another program may have written since it was opened
    const qint64 written = file.write(line);
    if (written == line.size())
        return {};
    QString why = file.error() != QFileDevice::NoError
                      ? file.errorString()
                      : QStringLiteral("there was room for a part of a line only");
    if (written > 0 && isLocked)
        file.resize(before);
    return why;
}

QString LogFile::problem() const
{
    const QMutexLocker lock(&mutex);
    return lastProblem;
}
