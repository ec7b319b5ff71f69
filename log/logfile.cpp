// SPDX-License-Identifier: MIT
#include "log/logfile.h"

#include "log/filelock.h"

#include <QFile>
#include <QMutexLocker>

LogFile::LogFile(const QString &path, qint64 largestSize) : filePath(path), largest(largestSize) {}

bool LogFile::write(const QByteArray &line)
{
    const QMutexLocker oneThread(&mutex);
    QFile file(filePath);
    // Unbuffered: the line goes out in one call.
    if (file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
        lastProblem = append(file, line);
    else
        lastProblem = file.errorString();
    return lastProblem.isEmpty();
}

QString LogFile::append(QFile &file, const QByteArray &line) const
{
    const FileLock oneProgram(file);
    if (oneProgram.isHeld() && file.size() > 0 && file.size() + line.size() > largest)
        beginAnew(file);
    const qint64 before = file.size();
    if (!file.isSequential())
        file.seek(before); // another program may have written since it was opened
    const qint64 written = file.write(line);
    if (written == line.size())
        return {};
    const QString why = file.error() != QFileDevice::NoError
                            ? file.errorString()
                            : QStringLiteral("there was room for a part of a line only");
    if (written > 0 && oneProgram.isHeld())
        file.resize(before);
    return why;
}

/// The file is copied and emptied rather than renamed: Windows renames none that another program has open,
/// and elsewhere that program would go on writing to the old one. Where there is no room for the copy, the
/// old lines go.
void LogFile::beginAnew(QFile &file) const
{
    const QString previous = filePath + QStringLiteral(".1");
    QFile::remove(previous);
    QFile::copy(filePath, previous);
    file.resize(0);
}

QString LogFile::problem() const
{
    const QMutexLocker lock(&mutex);
    return lastProblem;
}
