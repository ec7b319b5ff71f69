// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QStringList>
#include <QtGlobal>

/// Remembers what is logged, by any thread, while it lives; the messages go on to the handler before it as
/// well. One at a time.
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

    QStringList texts() const
    {
        const QMutexLocker lock(&mutex);
        return messages;
    }
    qsizetype count(const QString &text) const { return texts().count(text); }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (!text.startsWith(QStringLiteral("This plugin does not support"))) {
            const QMutexLocker lock(&active->mutex);
            active->messages += text;
        }
        if (active->previous)
            active->previous(type, context, text);
    }

    static inline MessageLog *active = nullptr;
    QtMessageHandler previous = nullptr;
    mutable QMutex mutex;
    QStringList messages;
};
