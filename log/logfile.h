// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QtGlobal>

class QFile;

/// A file that is something else than a log, and must stay what it is.
struct NoLogFile
{
    QString path;
    /// In words, for example "it is the settings file".
    QString why;
};

/// A file of lines that several threads, and several programs, write to: each line stays whole. It is opened
/// for each line alone, so it can be looked at, moved or deleted at any time, and a line is in it when
/// write() returns. It is an ordinary file, or one that is yet to come: a pipe would hold the writer up, and
/// a serial port would send the lines to the panel.
class LogFile
{
public:
    /// How large it becomes, 5 MiB, before it turns into the file of the same name with ".1" behind it, in
    /// the place of the one before.
    static constexpr qint64 LargestSize = qint64{5} * 1024 * 1024;

    /// Nothing is written where the path is that of one of `others`, or a link to it.
    explicit LogFile(const QString &path, qint64 largestSize = LargestSize,
                     const QList<NoLogFile> &others = {});

    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /// Any thread. Why the line is not in the file, none of it; empty when all of it is.
    [[nodiscard]] QString write(const QByteArray &line);
    /// What write() returned last, on whichever thread.
    [[nodiscard]] QString problem() const;
    [[nodiscard]] const QString &path() const { return filePath; }

private:
    [[nodiscard]] QString whyRefused() const;
    [[nodiscard]] QString tryToWrite(const QByteArray &line) const;
    [[nodiscard]] bool wasMovedAway(QFile &file, qint64 bytes) const;
    [[nodiscard]] static QString append(QFile &file, const QByteArray &line, bool isLocked);

    const QString filePath;
    const qint64 largest;
    const QList<NoLogFile> noLogs;
    mutable QMutex mutex;
    QString lastProblem;
};
