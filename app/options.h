// SPDX-License-Identifier: MIT
#pragma once

#include "update/updatejob.h"

#include <QKeySequence>
#include <QList>
#include <QString>
#include <QStringList>

class QSettings;

/// A key of the settings file that is not used, and its value.
struct RefusedOption
{
    QString key;
    QString value;
};

/// Ways out of situations on site in which the program's fixed behaviour leaves a technician stuck. They are
/// keys of the settings file, group "options", that the program reads at its start and never writes. Each is
/// off unless it is set.
struct Options
{
    /// "reply_gap", 1 to 1000 ms, "request_pause", 4 to 50 ms, "check_reply", "line_echo" and "trace_frames".
    LinkOptions link;
    /// "port_follows_menu": what is picked in the menu counts at once, and stays picked when the menu is
    /// rebuilt.
    bool portFollowsMenu = false;
    /// "tell_silent_failures": a failure without a text of its own gets an error box too.
    bool tellSilentFailures = false;
    /// "check_image": what cannot be an image is refused before anything is sent.
    bool checkImage = false;
    /// "alert_when_done": the task bar's entry asks for attention when a run has ended behind other windows.
    bool alertWhenDone = false;
    /// "trace_key", a key sequence in portable text: a second hot key for the trace. Empty: none.
    QKeySequence traceKey;
    /// "log_file", true or an absolute path: the file to which everything that happens is written, beside the
    /// settings file unless it has a path of its own. Empty: none.
    QString logFile;

    /// The keys that are set, each with its value as "key=value".
    QStringList set;
    /// The keys with a value that is no good.
    QList<RefusedOption> refused;
};

/// A key with a value that is no good counts as not set, and one debug line says so.
Options readOptions(const QSettings &settings);
/// The log file of "log_file" alone, without a word; empty for none.
[[nodiscard]] QString chosenLogFile(const QSettings &settings);
/// Logs a line for each refused key.
void reportRefused(const Options &options);
