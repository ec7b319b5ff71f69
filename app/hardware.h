// SPDX-License-Identifier: MIT
#pragma once

#include "connections/serialports.h"
#include "connections/usbmonitor.h"
#include "sub20/sub20.h"

#include <QList>

#include <functional>

/// The hardware that the window works with: by default that of the machine.
struct Hardware
{
    /// Outlives the window.
    Sub20 &adapter = Sub20::instance();
    std::function<QList<SerialPort>()> serialPorts = systemSerialPorts;
    /// Makes the monitor a child of the window.
    std::function<UsbMonitor *(QWidget *)> usbMonitor = makeUsbMonitor;
};
