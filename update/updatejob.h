// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What one update works with, as the window stood when "Start Update" was pressed. What changes in the
/// window afterwards counts for the next one.
struct UpdateJob
{
    /// How the panel is reached: a value of the settings file's key "connection_type".
    int connectionType = 0;
    QString imageFileName;
    /// The serial port to open; only a connection over a serial port looks at it.
    QString portName;
    /// The panel's Modbus address; its lowest 8 bits go over the wire.
    int deviceAddress = 0;
    /// How long in ms a reply over the serial port may pause before it is complete. 0: not at all.
    int replyGapMs = 0;
    /// Whether the reply to a record has to be the request's echo.
    bool checkReply = false;
};
