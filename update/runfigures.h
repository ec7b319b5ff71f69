// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <cstddef>
#include <vector>

/// What became of a run, for whoever keeps a log. Its loader's thread writes it, and it is read when the
/// loader has returned. A piece is a record over Modbus, a block by infrared.
struct RunFigures
{
    /// As many records as can be numbered. Of an image beyond that the first ones are timed.
    static constexpr std::size_t MostTimes = 65536;

    /// Pieces of which at least the beginning was sent.
    int sent = 0;
    /// Pieces that went well; only over Modbus has the panel confirmed them.
    int done = 0;
    /// What each whole piece took that went well, in µs.
    std::vector<quint32> timesUs;
    /// The serial port could not be opened.
    bool portWasRefused = false;
};
