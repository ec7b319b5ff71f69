// SPDX-License-Identifier: MIT
#include "update/errorreporter.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMetaObject>
#include <QMutexLocker>
#include <QThread>

#include <memory>
#include <utility>

ErrorReporter::ErrorReporter(std::function<void(const QString &)> showBox) : show(std::move(showBox)) {}

void ErrorReporter::report(const QString &text)
{
    if (QThread::currentThread() == receiver.thread()) {
        show(text);
        return;
    }
    // Shared: after close() the box may still be open while the reporting thread is gone.
    const auto boxClosed = std::make_shared<bool>(false);
    const auto showAndWake = [this, text, boxClosed] {
        show(text);
        const QMutexLocker lock(&mutex);
        *boxClosed = true;
        changed.wakeAll();
    };
    QMetaObject::invokeMethod(&receiver, showAndWake, Qt::QueuedConnection);
    const QMutexLocker lock(&mutex);
    while (!*boxClosed && !closed)
        changed.wait(&mutex);
}

void ErrorReporter::close()
{
    const QMutexLocker lock(&mutex);
    closed = true;
    changed.wakeAll();
}

void ErrorReporter::showRest()
{
    QCoreApplication::sendPostedEvents(&receiver, QEvent::MetaCall);
}
