// SPDX-License-Identifier: MIT
// A system that reports no USB devices to its programs.
#include "connections/usbmonitor.h"

#include <QDebug>
#include <QWidget>

namespace {

class SilentUsbMonitor : public UsbMonitor
{
public:
    using UsbMonitor::UsbMonitor;

    bool start() override
    {
        qDebug("USB devices are not followed: this system reports none");
        return false;
    }
};

} // namespace

UsbMonitor *makeUsbMonitor(QWidget *window)
{
    return new SilentUsbMonitor(window);
}
