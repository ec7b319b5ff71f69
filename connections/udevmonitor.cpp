// SPDX-License-Identifier: MIT
#include "connections/udevmonitor.h"

#include "sub20/sub20.h"

#include <QFileInfo>
#include <QSocketNotifier>

#include <libudev.h>

namespace {

constexpr int Hexadecimal = 16;

/// The USB vendor id of a device; 0 when it is none of the USB. A serial port knows that of its adapter, and
/// of a device that has left, the kernel still tells "vendor/product/release".
quint32 vendorIdOf(udev_device *device)
{
    const QByteArray vendor = udev_device_get_property_value(device, "ID_VENDOR_ID");
    if (!vendor.isEmpty())
        return vendor.toUInt(nullptr, Hexadecimal);
    const QByteArray product = udev_device_get_property_value(device, "PRODUCT");
    if (!product.isEmpty())
        return product.split('/').constFirst().toUInt(nullptr, Hexadecimal);
    udev_device *const usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    return usb ? QByteArray(udev_device_get_sysattr_value(usb, "idVendor")).toUInt(nullptr, Hexadecimal) : 0;
}

bool isUsable(const QString &node)
{
    const QFileInfo info(node);
    return info.isReadable() && info.isWritable();
}

} // namespace

void UdevMonitor::UdevDeleter::operator()(udev *context) const
{
    udev_unref(context);
}

void UdevMonitor::UdevDeleter::operator()(udev_monitor *monitor) const
{
    udev_monitor_unref(monitor);
}

void UdevMonitor::UdevDeleter::operator()(udev_device *device) const
{
    udev_device_unref(device);
}

UdevMonitor::UdevMonitor(QObject *parent) : QObject(parent)
{
    connect(&nodeWatcher, SIGNAL(fileChanged(QString)), this, SLOT(checkAwaitedNodes()));
    connect(&nodeWatcher, SIGNAL(directoryChanged(QString)), this, SLOT(checkAwaitedNodes()));
}

UdevMonitor::~UdevMonitor() = default;

bool UdevMonitor::start()
{
    context.reset(udev_new());
    if (!context)
        return false;
    monitor.reset(udev_monitor_new_from_netlink(context.get(), "udev"));
    if (!monitor || udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "usb", "usb_device") < 0 ||
        udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "tty", nullptr) < 0 ||
        udev_monitor_enable_receiving(monitor.get()) < 0)
        return false;
    auto *const notifier =
        new QSocketNotifier(udev_monitor_get_fd(monitor.get()), QSocketNotifier::Read, this);
    connect(notifier, SIGNAL(activated(QSocketDescriptor)), this, SLOT(receiveEvents()));
    return true;
}

void UdevMonitor::receiveEvents()
{
    using Device = std::unique_ptr<udev_device, UdevDeleter>;
    while (const Device device{udev_monitor_receive_device(monitor.get())})
        handleEvent(device.get());
}

void UdevMonitor::handleEvent(udev_device *device)
{
    const quint32 vendorId = vendorIdOf(device);
    if (vendorId == 0)
        return;
    const QByteArray action = udev_device_get_action(device);
    const QString node = QString::fromLocal8Bit(udev_device_get_devnode(device));
    if (action == "add") {
        // A serial port is listed whatever its permissions; the adapter is found only through a usable node.
        if (vendorId == Sub20::UsbVendorId && !node.isEmpty() && !isUsable(node))
            awaitNode(node);
        emit noticed(UsbNotice::Arrival, vendorId);
    } else if (action == "remove") {
        awaitedNodes.remove(node);
        emit noticed(UsbNotice::Removal, vendorId);
    }
}

void UdevMonitor::awaitNode(const QString &node)
{
    awaitedNodes.insert(node);
    // The folder tells when a node is made, the node itself when its permissions change.
    nodeWatcher.addPath(QFileInfo(node).path());
    checkAwaitedNodes();
}

void UdevMonitor::checkAwaitedNodes()
{
    const QSet<QString> nodes = awaitedNodes;
    for (const QString &node : nodes) {
        // Watched first: what changes after the look is told.
        if (QFileInfo::exists(node))
            nodeWatcher.addPath(node);
        if (isUsable(node)) {
            awaitedNodes.remove(node);
            emit noticed(UsbNotice::Arrival, Sub20::UsbVendorId);
        }
    }
    const QStringList watched = nodeWatcher.files() + nodeWatcher.directories();
    if (awaitedNodes.isEmpty() && !watched.isEmpty())
        nodeWatcher.removePaths(watched);
}
