// SPDX-License-Identifier: MIT
#pragma once

#include "connections/connection.h"

#include <QList>
#include <QSerialPortInfo>

class Sub20;

/// The serial ports that can be chosen, in the order in which the system lists them.
[[nodiscard]] QList<QSerialPortInfo> availableSerialPorts();

/// The connections that can be chosen now, over the first adapter that `adapter` finds and over the serial ports
/// that can be chosen.
[[nodiscard]] QList<Connection> availableConnections(Sub20 &adapter);
