// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <utility>

/// Remembers what is logged, by any thread, while it lives; and beside it what the test adds, in the order in
/// which all of it happened. Debug and info messages are kept from the test's own output; the others go on to
/// the test, which may expect or refuse them. One at a time.
class MessageLog
{
public:
    MessageLog()
    {
        active = this;
        previous = qInstallMessageHandler(handle);
    }
    ~MessageLog()
    {
        qInstallMessageHandler(previous);
        active = nullptr;
    }
    MessageLog(const MessageLog &) = delete;
    MessageLog &operator=(const MessageLog &) = delete;

    /// The messages of every level, as they were logged.
    QStringList texts() const
    {
        const QMutexLocker lock(&mutex);
        return messages;
    }
    qsizetype count(const QString &text) const { return texts().count(text); }

    void add(const QString &line)
    {
        const QMutexLocker lock(&mutex);
        lines += line;
    }
    /// The lines since the last call: debug and info messages such as "debug: 44 bytes written...", and what
    /// was added.
    QStringList take()
    {
        const QMutexLocker lock(&mutex);
        return std::exchange(lines, {});
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        active->note(type, text);
        if (type != QtDebugMsg && type != QtInfoMsg)
            active->previous(type, context, text);
    }

    void note(QtMsgType type, const QString &text)
    {
        // What the offscreen platform says of itself whenever a window is shown.
        if (text.startsWith(QStringLiteral("This plugin does not support")))
            return;
        const QMutexLocker lock(&mutex);
        messages += text;
        if (type == QtDebugMsg)
            lines += QStringLiteral("debug: ") + text;
        else if (type == QtInfoMsg)
            lines += QStringLiteral("info: ") + text;
    }

    static inline MessageLog *active = nullptr;
    QtMessageHandler previous = nullptr;
    mutable QMutex mutex;
    QStringList messages;
    QStringList lines;
};
