// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// Whether a serial port of this description is left out of the menu: it has none, or it is a Bluetooth port.
bool isUnusablePort(const QString &description);

/// Removes the unusable ports from `ports`; `describe` gives a port's description. The port that moves into
/// the place of a removed one is not looked at and stays: that is how the list is meant to be.
template<typename Port, typename Describe> void removeUnusablePorts(QList<Port> &ports, Describe describe)
{
    for (qsizetype i = 0; i < ports.size(); ++i) {
        if (isUnusablePort(describe(ports.at(i))))
            ports.removeAt(i);
    }
}
