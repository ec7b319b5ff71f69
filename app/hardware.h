// SPDX-License-Identifier: MIT
#pragma once

#include "app/stayawake.h"
#include "connections/serialports.h"
#include "connections/usbmonitor.h"
#include "sub20/sub20.h"

#include <QList>

#include <functional>
#include <memory>

class QWidget;

/// The hardware that the window works with: by default that of the machine.
struct Hardware
{
    /// Outlives the window.
    Sub20 &adapter = Sub20::instance();
    std::function<QList<SerialPort>()> serialPorts = systemSerialPorts;
    /// Makes the monitor a child of the window.
    std::function<UsbMonitor *(QWidget *)> usbMonitor = makeUsbMonitor;
    std::function<std::unique_ptr<StayAwake>(QWidget &)> stayAwake = makeStayAwake;
};
