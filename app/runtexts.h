// SPDX-License-Identifier: MIT
#pragma once

#include "update/runfigures.h"
#include "update/updatejob.h"
#include "update/updatesession.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <atomic>

// What the log file says of a run, in words.

/// What is known of an image before it is sent.
struct ImageFacts
{
    qint64 size = 0;
    QByteArray sha256;
    /// Why the rest is not known; empty when it is.
    QString problem;
};

/// Reads the whole file, unless it is no file, or stopRequested becomes true meanwhile.
[[nodiscard]] ImageFacts lookAtImage(const QString &fileName, const std::atomic<bool> &stopRequested);

/// How many records or blocks an image of so many bytes makes.
[[nodiscard]] qint64 piecesOf(const UpdateJob &job, qint64 imageSize);
[[nodiscard]] QString connectionText(const UpdateJob &job);
[[nodiscard]] QString imageText(const UpdateJob &job, const ImageFacts &image);
/// What was sent and confirmed, how long it took, and, when the records went faster than their line can carry
/// them, a question.
[[nodiscard]] QStringList figureTexts(const UpdateJob &job, const RunFigures &figures, qint64 pieces,
                                      qint64 durationMs);
/// A loader's result as a number and in words.
[[nodiscard]] QString resultText(const UpdateJob &job, int result);
/// Who stopped the run; empty for one that has ended by itself.
[[nodiscard]] QString stopText(const SessionEnd &end, bool windowIsClosed);
