// SPDX-License-Identifier: MIT
#include "app/runlog.h"

#include "app/runtexts.h"
#include "log/logmessages.h"
#include "log/portholder.h"
#include "update/updatesession.h"

#include <QScopeGuard>

#include <utility>

int RunLog::watch(const UpdateJob &chosen, const std::atomic<bool> &stopRequested,
                  const std::function<int()> &loader)
{
    if (!hasLogFile())
        return loader();
    job = chosen;
    noteBegin(stopRequested);
    const auto returned = qScopeGuard([this] { noteReturn(); }); // the loader may throw
    return loader();
}

RunFigures *RunLog::figures()
{
    return hasLogFile() ? &loaderFigures : nullptr;
}

void RunLog::note(const QString &text) const
{
    logNote(QStringLiteral("run %1 %2").arg(QString::number(number), text));
}

void RunLog::noteBegin(const std::atomic<bool> &stopRequested)
{
    ++number;
    isRunning = true;
    loaderFigures = {};
    note(QStringLiteral("begins: ") + connectionText(job));
    const ImageFacts image = lookAtImage(job.imageFileName, stopRequested);
    pieces = piecesOf(job, image.size);
    note(imageText(job, image));
    timer.start();
}

void RunLog::noteReturn()
{
    durationMs = timer.elapsed();
    if (!loaderFigures.portWasRefused)
        return;
    const QStringList texts = whyPortIsRefused(job.portName);
    for (const QString &text : texts)
        note(QStringLiteral("port: ") + text);
}

void RunLog::noteError(const QString &text)
{
    if (hasLogFile())
        errors += text;
}

void RunLog::noteEnd(const SessionEnd &end, bool windowIsClosed)
{
    const QStringList reported = std::exchange(errors, {});
    if (!std::exchange(isRunning, false))
        return;
    const QStringList texts = figureTexts(job, loaderFigures, pieces, durationMs);
    for (const QString &text : texts)
        note(text);
    for (const QString &error : reported)
        note(QStringLiteral("reported: ") + error);
    note(QStringLiteral("ends: ") + resultText(job, end.result) + stopText(end, windowIsClosed));
}
