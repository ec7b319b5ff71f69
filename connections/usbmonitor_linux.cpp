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
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>

namespace {

struct UdevDeleter
{
    void operator()(udev *context) const { udev_unref(context); }
    void operator()(udev_monitor *monitor) const { udev_monitor_unref(monitor); }
    void operator()(udev_device *device) const { udev_device_unref(device); }
    void operator()(udev_enumerate *list) const { udev_enumerate_unref(list); }
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

bool isAdapter(udev_device *device)
{
    const bool isUsbDevice = qstrcmp(udev_device_get_devtype(device), "usb_device") == 0;
    return isUsbDevice && vendorIdOf(device) == Sub20::UsbVendorId;
}

/// False for a socket of the kernel's that belongs to no group of listeners: it stays silent for ever. That
/// is what libudev gives where no device manager runs, as in a container.
bool isSubscribed(int socket)
{
    sockaddr_nl address{};
    socklen_t size = sizeof address;
    if (::getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return false;
    return address.nl_family != AF_NETLINK || address.nl_groups != 0;
}

bool holdsMore(int socket)
{
    pollfd question{socket, POLLIN, 0};
    return ::poll(&question, 1, 0) > 0 && (question.revents & POLLIN) != 0;
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
    void recoverFromOverflow();
    void awaitPresentAdapters();
    void awaitNodeOf(udev_device *device);

    std::unique_ptr<udev, UdevDeleter> context;
    std::unique_ptr<udev_monitor, UdevDeleter> monitor;
    /// Waits for the files of adapters.
    NodeWatcher nodes{this};
};

LinuxUsbMonitor::LinuxUsbMonitor(QObject *parent) : UsbMonitor(parent)
{
    connect(&nodes, &NodeWatcher::usable, this, [this] {
        emit reported({UsbEvent::Kind::Arrival, Sub20::UsbVendorId});
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
    awaitPresentAdapters();
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
           udev_monitor_enable_receiving(monitor.get()) >= 0 &&
           isSubscribed(udev_monitor_get_fd(monitor.get()));
}

/// One event in each turn of the event loop: discovery may run several times for it, and the window has to
/// answer in between.
void LinuxUsbMonitor::receiveEvent()
{
    errno = 0; // not every libudev sets it where there is just nothing to receive
    const Device device{udev_monitor_receive_device(monitor.get())};
    if (device)
        handleEvent(device.get());
    else if (errno == ENOBUFS)
        recoverFromOverflow();
}

void LinuxUsbMonitor::handleEvent(udev_device *device)
{
    const quint32 vendorId = vendorIdOf(device);
    if (vendorId == 0)
        return;
    const QByteArray action = udev_device_get_action(device);
    if (action == "add") {
        awaitNodeOf(device);
        emit reported({UsbEvent::Kind::Arrival, vendorId, portNameOf(device)});
    } else if (action == "remove") {
        nodes.forget(QString::fromLocal8Bit(udev_device_get_devnode(device)));
        emit reported({UsbEvent::Kind::Removal, vendorId, portNameOf(device)});
    }
}

/// More came than the socket could hold. What it still holds is out of date, and as long as it is not empty,
/// the kernel drops what comes without a word.
void LinuxUsbMonitor::recoverFromOverflow()
{
    while (holdsMore(udev_monitor_get_fd(monitor.get())))
        const Device outdated{udev_monitor_receive_device(monitor.get())};
    nodes.forgetAll();
    awaitPresentAdapters();
    emit reported({UsbEvent::Kind::Lost});
}

void LinuxUsbMonitor::awaitPresentAdapters()
{
    const std::unique_ptr<udev_enumerate, UdevDeleter> list{udev_enumerate_new(context.get())};
    if (!list || udev_enumerate_add_match_subsystem(list.get(), "usb") < 0 ||
        udev_enumerate_scan_devices(list.get()) < 0)
        return;
    udev_list_entry *entry = udev_enumerate_get_list_entry(list.get());
    for (; entry; entry = udev_list_entry_get_next(entry)) {
        const Device device{udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry))};
        if (device)
            awaitNodeOf(device.get());
    }
}

/// A serial port is listed whatever its permissions are; the adapter is found only by a file that may be
/// used.
void LinuxUsbMonitor::awaitNodeOf(udev_device *device)
{
    const QString node = QString::fromLocal8Bit(udev_device_get_devnode(device));
    if (isAdapter(device) && !node.isEmpty())
        nodes.await(node);
}

} // namespace

UsbMonitor *makeUsbMonitor(QWidget *window)
{
    return new LinuxUsbMonitor(window);
}
