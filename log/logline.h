// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QtGlobal>

/// Whose line it is. A thread that is not the window's is a loader's.
enum class LogThread { Window, Loader };

/// A line of the log file with its end, in UTF-8, for example
///
///     2026-11-22T10:28:31.123+01:00 loader debug    44 bytes written...
///
/// The time is ISO 8601 with milliseconds and the offset from UTC. Control characters and line ends within
/// `text` are shown as their pictures, a new line as U+240A: a message is one line, whatever it holds.
[[nodiscard]] QByteArray logLine(const QDateTime &time, LogThread thread, QtMsgType level,
                                 const QString &text);
