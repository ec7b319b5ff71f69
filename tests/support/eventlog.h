// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <utility>

/// What happens while it lives, in its order: messages, from any thread, as lines such as
/// "debug: 44 bytes written...", and lines that the test adds. Debug and info messages are kept from the
/// test's own output; the others go on to the test, which may expect or refuse them. One at a time.
class EventLog
{
public:
    EventLog()
    {
        active = this;
        previous = qInstallMessageHandler(handle);
    }
    ~EventLog()
    {
        qInstallMessageHandler(previous);
        active = nullptr;
    }
    EventLog(const EventLog &) = delete;
    EventLog &operator=(const EventLog &) = delete;

    void add(const QString &line)
    {
        const QMutexLocker lock(&mutex);
        lines += line;
    }
    /// The lines so far; forgets them.
    QStringList take()
    {
        const QMutexLocker lock(&mutex);
        return std::exchange(lines, {});
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (type == QtDebugMsg)
            active->add(QStringLiteral("debug: ") + text);
        else if (type == QtInfoMsg)
            active->add(QStringLiteral("info: ") + text);
        else
            active->previous(type, context, text);
    }

    static inline EventLog *active = nullptr;
    QtMessageHandler previous = nullptr;
    QMutex mutex;
    QStringList lines;
};
