// SPDX-License-Identifier: MIT
#include "log/logmessages.h"

#include "log/logline.h"

#include <QDateTime>
#include <QDebug>
#include <QThread>

#include <atomic>

namespace {

/// The process's log file. Messages come as long as the process lives, so it is never deleted.
std::atomic<LogFile *> logFile = nullptr;
Qt::HANDLE windowThread = nullptr;
/// Where messages went before there was a log file, and where they are passed on to.
QtMessageHandler handlerBefore = nullptr;
std::atomic<QtMessageHandler> nextHandler = nullptr;
std::atomic<bool> problemWasReported = false;
/// What is logged by the writing itself is passed on, and not written.
thread_local bool isWriting = false;

QString problemText(const LogFile &file, const QString &problem)
{
    return QStringLiteral("options/log_file: %1 cannot be written: %2").arg(file.path(), problem);
}

void passOn(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    nextHandler.load()(level, context, text);
}

void write(QtMsgType level, const QString &text)
{
    if (isWriting)
        return;
    isWriting = true;
    LogFile &file = *logFile;
    const LogThread thread =
        QThread::currentThreadId() == windowThread ? LogThread::Window : LogThread::Loader;
    const QString problem = file.write(logLine(QDateTime::currentDateTime(), thread, level, text));
    if (!problem.isEmpty() && !problemWasReported.exchange(true))
        passOn(QtWarningMsg, QMessageLogContext(nullptr, 0, nullptr, "default"), problemText(file, problem));
    isWriting = false;
}

void handleMessage(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    write(level, text);
    passOn(level, context, text);
}

} // namespace

void startLogFile(const QString &path, const QList<NoLogFile> &others)
{
    if (path.isEmpty() || hasLogFile())
        return;
    windowThread = QThread::currentThreadId();
    // Installing is the only way to learn what is installed.
    handlerBefore = qInstallMessageHandler(nullptr);
    nextHandler = handlerBefore;
    logFile = new LogFile(path, LogFile::LargestSize, others);
    qInstallMessageHandler(handleMessage);
}

void passMessagesTo(QtMessageHandler handler)
{
    if (hasLogFile())
        nextHandler = handler ? handler : handlerBefore;
    else
        qInstallMessageHandler(handler);
}

bool hasLogFile()
{
    return logFile.load() != nullptr;
}

void logNote(const QString &text)
{
    if (hasLogFile())
        write(QtInfoMsg, text);
}

void reportLogFile()
{
    const LogFile *const file = logFile;
    if (!file)
        return;
    if (const QString problem = file->problem(); !problem.isEmpty())
        qWarning().noquote() << problemText(*file, problem);
}
