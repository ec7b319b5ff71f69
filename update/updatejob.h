// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// How a run departs from the link's fixed ways where a site needs it.
struct LinkOptions
{
    /// How long in ms a reply over the serial port may pause before it is complete. 0: not at all.
    int replyGapMs = 0;
    /// Whether the reply to a record has to be the request's echo.
    bool checkReply = false;
    /// Whether the serial port's converter returns all that is sent, in front of the reply.
    bool lineEcho = false;
    /// The pause in ms in front of each request over a serial port.
    int requestPauseMs = 50;
    /// Whether every frame is written to the log.
    bool traceFrames = false;
};

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
    LinkOptions link;
    /// Whether the image is looked at before anything is sent.
    bool checkImage = false;
};
