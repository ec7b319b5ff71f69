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

QString notOrdinary()
{
    return QStringLiteral("it is no ordinary file");
}

/// Whether the file's name, or what it is a link to, is the other name. Nothing but the file is looked at:
/// the other one may lie on a server that does not answer. Windows takes both cases of a letter for the same.
bool leadsTo(const QFileInfo &file, const QString &other)
{
    const QString path = QFileInfo(other).absoluteFilePath();
    return file.absoluteFilePath().compare(path, Qt::CaseInsensitive) == 0 ||
           file.canonicalFilePath().compare(path, Qt::CaseInsensitive) == 0;
}

} // namespace

LogFile::LogFile(const QString &path, qint64 largestSize, const QList<NoLogFile> &others)
    : filePath(path), largest(largestSize), noLogs(others)
{
}

QString LogFile::write(const QByteArray &line)
{
    const QMutexLocker oneThread(&mutex);
    lastProblem = tryToWrite(line);
    return lastProblem;
}

/// Looked at for each line: whatever has the name by then may have come since the last one.
QString LogFile::whyRefused() const
{
    const QFileInfo file(filePath);
    for (const NoLogFile &other : noLogs) {
        if (leadsTo(file, other.path))
            return other.why;
    }
    return file.exists() && !file.isFile() ? notOrdinary() : QString();
}

QString LogFile::tryToWrite(const QByteArray &line) const
{
    if (QString why = whyRefused(); !why.isEmpty())
        return why;
    for (int tries = 0;; ++tries) {
        QFile file(filePath);
        // Unbuffered: the line goes out in one call.
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
            return file.errorString();
        if (file.isSequential()) // Windows has devices that are no files by their names
            return notOrdinary();
        const FileLock oneProgram(file);
        const bool isAnother =
            oneProgram.isHeld() && (!oneProgram.isCurrent() || wasMovedAway(file, line.size()));
        if (isAnother && tries < MostTries)
            continue;
        return append(file, line, oneProgram.isHeld());
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
