// SPDX-License-Identifier: MIT
#pragma once

#include <QKeySequence>
#include <QList>
#include <QString>

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
    /// "reply_gap", 1 to 1000 ms: how long a serial reply may pause before it is complete. 0: it may not.
    int replyGapMs = 0;
    /// "port_follows_menu": what is picked in the menu counts at once, and stays picked when the menu is
    /// rebuilt.
    bool portFollowsMenu = false;
    /// "tell_silent_failures": a failure without a text of its own gets an error box too.
    bool tellSilentFailures = false;
    /// "check_reply": a reply to Write File Record that is not its echo is a failure.
    bool checkReply = false;
    /// "trace_key", a key sequence in portable text: a second hot key for the trace. Empty: none.
    QKeySequence traceKey;

    /// The keys with a value that is no good.
    QList<RefusedOption> refused;
};

/// A key with a value that is no good counts as not set, and one debug line says so.
Options readOptions(const QSettings &settings);
/// Logs a line for each refused key.
void reportRefused(const Options &options);
