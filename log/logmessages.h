// SPDX-License-Identifier: MIT
#pragma once

#include "log/logfile.h"

#include <QList>
#include <QString>
#include <QtGlobal>

// What is logged, and where it goes: to the log file, where there is one, and from there on to where it would
// have gone without. Without a log file nothing here has any effect, but for passMessagesTo().

/// From now on, until the process ends, each message of any thread is written to the file of this path before
/// it is passed on to where it went before. To be called once, on the window's thread; an empty path means no
/// log file. Where the path leads to one of `others`, nothing is written, and that is reported like any other
/// reason.
void startLogFile(const QString &path, const QList<NoLogFile> &others = {});

/// The messages go to this handler; to where they went at first for a null one. In place of
/// qInstallMessageHandler(), which would leave the log file out.
void passMessagesTo(QtMessageHandler handler);

/// Whether there is a log file. Any thread.
[[nodiscard]] bool hasLogFile();
/// Writes a line that is in the log file alone, at info level. Any thread.
void logNote(const QString &text);

/// Logs why the log file cannot be written, if it cannot. The first line that does not reach it has done so,
/// too.
void reportLogFile();
