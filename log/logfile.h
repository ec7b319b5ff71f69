// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMutex>
#include <QString>
#include <QtGlobal>

class QFile;

/// A file of lines that several threads, and several programs, write to: each line stays whole. It is opened
/// for each line alone, so it can be looked at, moved or deleted at any time, and a line is in it when
/// write() returns.
class LogFile
{
public:
    /// How large it becomes, 5 MiB, before it turns into the file of the same name with ".1" behind it, in
    /// the place of the one before.
    static constexpr qint64 LargestSize = qint64{5} * 1024 * 1024;

    explicit LogFile(const QString &path, qint64 largestSize = LargestSize);

    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /// Any thread. Whether all of `line` is in the file; none of it is otherwise, and problem() says why.
    bool write(const QByteArray &line);
    /// Why the last line is not in the file, in the system's words; empty when it is.
    [[nodiscard]] QString problem() const;
    [[nodiscard]] const QString &path() const { return filePath; }

private:
    [[nodiscard]] bool wasMovedAway(QFile &file, qint64 bytes) const;
    [[nodiscard]] static QString append(QFile &file, const QByteArray &line, bool isLocked);

    const QString filePath;
    const qint64 largest;
    mutable QMutex mutex;
    QString lastProblem;
};
