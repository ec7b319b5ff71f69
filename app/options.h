// SPDX-License-Identifier: MIT
#pragma once

#include <QKeySequence>
#include <QStringList>

class QSettings;

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

    /// A line for each key with a value that is no good.
    QStringList refused;
};

/// A key with a value that is no good counts as not set, and one debug line says so.
Options readOptions(const QSettings &settings);
/// Logs the lines of the refused keys.
void reportRefused(const Options &options);
