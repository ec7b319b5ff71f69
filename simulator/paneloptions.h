// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/misbehaviour.h"

#include <QStringList>

#include <cstdint>
#include <string>

namespace simulator {

/// What the command line of zephyrin-panel asks for.
struct PanelOptions
{
    std::uint8_t address = DefaultPanelAddress;
    std::string outputFile;    ///< empty: none
    std::string linkPath;      ///< empty: none
    std::uint32_t idleMs = 20; ///< a gap of this length ends a request whose length the panel cannot tell
    bool log = false;
    bool exitWithParent = false;
    Misbehaviour misbehaviour;
};

struct ParsedCommandLine
{
    enum class Kind { Run, ShowHelp, Wrong };

    Kind kind = Kind::Run;
    PanelOptions options;
    QString text; ///< the help, or what is wrong
};

/// `arguments` begins with the program's name.
ParsedCommandLine parseCommandLine(const QStringList &arguments);

} // namespace simulator
