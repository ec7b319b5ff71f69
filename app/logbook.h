// SPDX-License-Identifier: MIT
#pragma once

#include "app/devicelog.h"
#include "app/runlog.h"

class QSettings;
struct Options;

/// Begins the log file that the settings name, if they name one. To be called before anything can be logged.
void startLog(const QSettings &settings);
/// Writes into the log file what the program is, what it runs on, and which options are set and refused.
void noteStart(const Options &options);

/// What the window writes into the log file beside its messages; without a log file, nothing.
struct LogBook
{
    DeviceLog devices;
    RunLog run;
};
