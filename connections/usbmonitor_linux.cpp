// SPDX-License-Identifier: MIT
// USB devices as Linux's device manager reports them.
#include "connections/nodewatcher_linux.h"
#include "connections/usbmonitor.h"
#include "sub20/sub20.h"

#include <QByteArray>
#include <QDebug>
#include <QSocketNotifier>
#include <QString>
#include <QWidget>

#include <libudev.h>

#include <memory>

namespace {

struct UdevDeleter
{
    void operator()(udev *context) const { udev_unref(context); }
    void operator()(udev_monitor *monitor) const { udev_monitor_unref(monitor); }
    void operator()(udev_device *device) const { udev_device_unref(device); }
};

using Device = std::unique_ptr<udev_device, UdevDeleter>;

quint32 vendorIdOfText(const QByteArray &digits)
{
    return vendorIdOfDigits(QString::fromLatin1(digits));
}

/// The USB vendor id of a device; 0 when it is none of the USB. A serial port knows that of its adapter, and
/// of a device that has left, the kernel still reports "vendor/product/release".
quint32 vendorIdOf(udev_device *device)
{
    const QByteArray vendor = udev_device_get_property_value(device, "ID_VENDOR_ID");
    if (!vendor.isEmpty())
        return vendorIdOfText(vendor);
    const QByteArray product = udev_device_get_property_value(device, "PRODUCT");
    if (!product.isEmpty())
        return vendorIdOfText(product.split('/').constFirst());
    const char *attribute = udev_device_get_sysattr_value(device, "idVendor");
    udev_device *const usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    if (!attribute && usb)
        attribute = udev_device_get_sysattr_value(usb, "idVendor");
    return vendorIdOfText(attribute);
}

/// The name of a serial port; empty for a USB device.
QString portNameOf(udev_device *device)
{
    const bool isPort = qstrcmp(udev_device_get_subsystem(device), "tty") == 0;
    return isPort ? QString::fromLocal8Bit(udev_device_get_sysname(device)) : QString();
}

class LinuxUsbMonitor : public UsbMonitor
{
public:
    explicit LinuxUsbMonitor(QObject *parent);

    bool start() override;

private:
    bool startReceiving();
    void receiveEvent();
    void handleEvent(udev_device *device);

    std::unique_ptr<udev, UdevDeleter> context;
    std::unique_ptr<udev_monitor, UdevDeleter> monitor;
    /// Waits for adapters: they are found only by a file that may be used.
    NodeWatcher nodes{this};
};

LinuxUsbMonitor::LinuxUsbMonitor(QObject *parent) : UsbMonitor(parent)
{
    connect(&nodes, &NodeWatcher::usable, this, [this] {
        emit noticed({UsbEvent::Kind::Arrival, Sub20::UsbVendorId});
    });
}

bool LinuxUsbMonitor::start()
{
    if (!startReceiving()) {
        qDebug("USB devices are not followed: no device monitor");
        return false;
    }
    auto *const notifier =
        new QSocketNotifier(udev_monitor_get_fd(monitor.get()), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &LinuxUsbMonitor::receiveEvent);
    return true;
}

bool LinuxUsbMonitor::startReceiving()
{
    context.reset(udev_new());
    if (!context)
        return false;
    monitor.reset(udev_monitor_new_from_netlink(context.get(), "udev"));
    return monitor &&
           udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "usb", "usb_device") >= 0 &&
           udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "tty", nullptr) >= 0 &&
           udev_monitor_enable_receiving(monitor.get()) >= 0;
}

void LinuxUsbMonitor::receiveEvent()
{
    while (const Device device{udev_monitor_receive_device(monitor.get())})
        handleEvent(device.get());
}

void LinuxUsbMonitor::handleEvent(udev_device *device)
{
    const quint32 vendorId = vendorIdOf(device);
    if (vendorId == 0)
        return;
    const QByteArray action = udev_device_get_action(device);
    const QString node = QString::fromLocal8Bit(udev_device_get_devnode(device));
    const QString portName = portNameOf(device);
    if (action == "add") {
        if (vendorId == Sub20::UsbVendorId && !node.isEmpty())
            nodes.await(node);
        emit noticed({UsbEvent::Kind::Arrival, vendorId, portName});
    } else if (action == "remove") {
        nodes.forget(node);
        emit noticed({UsbEvent::Kind::Removal, vendorId, portName});
    }
}

} // namespace

UsbMonitor *makeUsbMonitor(QWidget *window)
{
    return new LinuxUsbMonitor(window);
}
