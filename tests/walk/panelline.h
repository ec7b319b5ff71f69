// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <atomic>
#include <thread>

class Wires;

/// A panel behind a serial port, a pseudo-terminal that has the port's name as a link. Its reply waits for
/// the walk. When it is destroyed, the port is gone, as a converter that is pulled out.
class PanelLine
{
public:
    PanelLine(Wires &on, const QString &portName);
    ~PanelLine();
    PanelLine(const PanelLine &) = delete;
    PanelLine &operator=(const PanelLine &) = delete;

private:
    void serve();
    /// Waits for bytes of the program; false when the port goes.
    bool awaitBytes() const;

    Wires &wires;
    const QString name;
    int master = -1;
    int slave = -1; ///< kept open, so that the line stands while nobody has it open
    int wakeUp = -1;
    std::atomic<bool> isGone = false;
    std::thread thread;
};
