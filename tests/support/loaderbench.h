// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/scriptedsub20.h"
#include "update/emitter.h"
#include "update/firmwareloader.h"

#include <QFile>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <functional>

/// What a loader is lent for a run, without a window. The loader runs on the test's own thread, so whatever
/// it does comes into one list, in its order: calls of the adapter's library, the emitter's signals, "busy"
/// when the loader shows that it is at work, "box ..." for an error that it has shown by itself and "link
/// ..." for one of the link's.
class LoaderBench : public QObject
{
    Q_OBJECT

public:
    LoaderBench()
    {
        scripted.onCall = [this](const QString &call) { note(call); };
        connect(&emitter, &Emitter::load_finish, this, [this] { note(QStringLiteral("load_finish")); });
        connect(&emitter, &Emitter::load_start, this,
                [this](int from, int to) { note(QStringLiteral("load_start %1 %2").arg(from).arg(to)); });
        connect(&emitter, &Emitter::load_progress, this,
                [this](int value) { note(QStringLiteral("load_progress %1").arg(value)); });
        connect(&emitter, &Emitter::errorSignal, this,
                [this](const QString &text) { note(QStringLiteral("errorSignal ") + text); });
    }

    LoaderContext context()
    {
        return {job,
                emitter,
                stopRequested,
                adapter,
                handle,
                *this,
                [this](const QString &text) { note(QStringLiteral("box ") + text); },
                [this] { note(QStringLiteral("busy")); }};
    }

    /// All that has happened so far, and what begins with one of these words.
    QStringList events() const { return lines; }
    QStringList events(const QStringList &words) const
    {
        QStringList found;
        for (const QString &line : lines) {
            if (words.contains(line.section(u' ', 0, 0)))
                found += line;
        }
        return found;
    }
    /// The bytes that these calls of the library have sent, as hexadecimal digits.
    QStringList sent(const QString &function) const
    {
        // sub_ir_tx HANDLE SIZE BYTES, sub_rs_xfer HANDLE BYTES ROOM
        const int part = function == QStringLiteral("sub_ir_tx") ? 3 : 2;
        QStringList bytes;
        for (const QString &call : events({function}))
            bytes += call.section(u' ', part, part);
        return bytes;
    }

    /// Has the job send a file of these bytes; its name.
    QString setImage(const QByteArray &bytes)
    {
        job.imageFileName = folder.filePath(QStringLiteral("panel.INC"));
        QFile file(job.imageFileName);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            QTest::qFail("the image file cannot be written", __FILE__, __LINE__);
        return job.imageFileName;
    }
    /// The folder of the image.
    QString path() const { return folder.path(); }

    ScriptedSub20 scripted;
    Sub20 adapter{ScriptedSub20::functions()};
    UpdateJob job;
    Emitter emitter;
    std::atomic<bool> stopRequested = false;
    sub_handle handle = nullptr;
    /// Runs within each event, with its line.
    std::function<void(const QString &line)> onEvent;

public slots:
    void reportError(const QString &text) { note(QStringLiteral("link ") + text); }

private:
    void note(const QString &line)
    {
        lines += line;
        if (onEvent)
            onEvent(line);
    }

    QTemporaryDir folder;
    QStringList lines;
};

/// Lines of an event list.
inline QStringList progressLines(int sent, int perProgress = 3)
{
    QStringList progress;
    for (int value = perProgress; value <= sent; value += perProgress)
        progress += QStringLiteral("load_progress %1").arg(value);
    return progress;
}
