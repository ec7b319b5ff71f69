// SPDX-License-Identifier: MIT
// What udev says of a device that comes or goes: any property may be missing, and hold any text. The
// functions here stand before libudev's.
#include "connections/usbmonitor.h"
#include "fuzz/input.h"
#include "fuzz/vendordigits.h"

#include <QCoreApplication>
#include <QEvent>
#include <QList>
#include <QSocketNotifier>

#include <libudev.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>

using Text = std::optional<std::string>;

struct udev_device
{
    Text vendor;
    Text product;
    Text attribute;
    Text parentAttribute;
    Text subsystem;
    Text name;
    Text type;
    Text action;
    Text node;
    std::unique_ptr<udev_device> parent;
};

struct udev
{
};
struct udev_monitor
{
};
struct udev_enumerate
{
};

namespace {

udev context;
udev_monitor netlink;
udev_device *arriving = nullptr;
/// What the socket says when there is no device.
int socketError = 0;
std::array<int, 2> sockets{-1, -1};

const char *textOf(const Text &text)
{
    return text ? text->c_str() : nullptr;
}

} // namespace

udev *udev_new()
{
    return &context;
}
udev *udev_unref(udev *)
{
    return nullptr;
}
udev_monitor *udev_monitor_new_from_netlink(udev *, const char *)
{
    return &netlink;
}
udev_monitor *udev_monitor_unref(udev_monitor *)
{
    return nullptr;
}
int udev_monitor_filter_add_match_subsystem_devtype(udev_monitor *, const char *, const char *)
{
    return 0;
}
int udev_monitor_enable_receiving(udev_monitor *)
{
    return 0;
}
int udev_monitor_get_fd(udev_monitor *)
{
    return sockets[0];
}
udev_device *udev_monitor_receive_device(udev_monitor *)
{
    errno = socketError;
    return std::exchange(arriving, nullptr);
}
udev_device *udev_device_unref(udev_device *)
{
    return nullptr;
}
const char *udev_device_get_property_value(udev_device *device, const char *key)
{
    const std::string name = key;
    REQUIRE(name == "ID_VENDOR_ID" || name == "PRODUCT");
    return textOf(name == "PRODUCT" ? device->product : device->vendor);
}
const char *udev_device_get_sysattr_value(udev_device *device, const char *)
{
    return textOf(device->attribute);
}
udev_device *udev_device_get_parent_with_subsystem_devtype(udev_device *device, const char *, const char *)
{
    return device->parent.get();
}
const char *udev_device_get_subsystem(udev_device *device)
{
    return textOf(device->subsystem);
}
const char *udev_device_get_sysname(udev_device *device)
{
    return textOf(device->name);
}
const char *udev_device_get_devtype(udev_device *device)
{
    return textOf(device->type);
}
const char *udev_device_get_action(udev_device *device)
{
    return textOf(device->action);
}
const char *udev_device_get_devnode(udev_device *device)
{
    return textOf(device->node);
}
// No device is there beforehand.
udev_enumerate *udev_enumerate_new(udev *)
{
    return nullptr;
}
udev_enumerate *udev_enumerate_unref(udev_enumerate *)
{
    return nullptr;
}

namespace {

Text drawText(Input &input)
{
    const std::uint8_t size = input.byte();
    if (size == 0xFF)
        return std::nullopt;
    const std::vector<std::uint8_t> bytes = input.copy(size % 64);
    // A C string ends at its first zero.
    return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0}));
}

/// One of the words that mean something, or any text.
Text drawWord(Input &input, std::initializer_list<const char *> words)
{
    const std::uint8_t which = input.byte();
    return which < words.size() ? Text(*(words.begin() + which)) : drawText(input);
}

std::unique_ptr<udev_device> drawDevice(Input &input)
{
    auto device = std::make_unique<udev_device>();
    device->action = drawWord(input, {"add", "remove", "change", "bind"});
    device->subsystem = drawWord(input, {"tty", "usb"});
    device->type = drawWord(input, {"usb_device", "usb_interface"});
    device->vendor = drawWord(input, {"04d8", "0403", ""});
    device->product = drawText(input);
    device->attribute = drawText(input);
    device->name = drawText(input);
    device->node = drawText(input);
    if (const Text attribute = drawText(input)) {
        device->parent = std::make_unique<udev_device>();
        device->parent->attribute = attribute;
    }
    return device;
}

/// Where the vendor id stands: the first of these that holds anything.
std::string vendorDigits(const udev_device &device)
{
    if (device.vendor && !device.vendor->empty())
        return *device.vendor;
    if (device.product && !device.product->empty())
        return device.product->substr(0, device.product->find('/'));
    if (device.attribute)
        return *device.attribute;
    return device.parent ? device.parent->attribute.value_or("") : "";
}

class Bench
{
public:
    Bench()
    {
        REQUIRE(::socketpair(AF_UNIX, SOCK_DGRAM, 0, sockets.data()) == 0);
        QObject::connect(monitor.get(), &UsbMonitor::reported, monitor.get(),
                         [this](const UsbEvent &event) { events += event; });
        REQUIRE(monitor->start());
        notifier = monitor->findChild<QSocketNotifier *>();
        REQUIRE(notifier);
    }

    /// What one turn of the event loop reports.
    QList<UsbEvent> receive(udev_device *device, int error = 0)
    {
        events.clear();
        arriving = device;
        socketError = error;
        QEvent activity(QEvent::SockAct);
        QCoreApplication::sendEvent(notifier, &activity);
        REQUIRE(!arriving);
        return events;
    }

private:
    std::unique_ptr<UsbMonitor> monitor{makeUsbMonitor(nullptr)};
    QSocketNotifier *notifier = nullptr;
    QList<UsbEvent> events;
};

void requireSense(const udev_device &device, const QList<UsbEvent> &events)
{
    const bool isArrival = device.action == "add";
    const std::optional<std::uint32_t> vendor = undoubtedVendor(vendorDigits(device));
    if (vendor == 0U || (!isArrival && device.action != "remove")) {
        REQUIRE(events.isEmpty());
        return;
    }
    if (!vendor && events.isEmpty())
        return;
    REQUIRE(events.size() == 1);
    REQUIRE(events[0].kind == (isArrival ? UsbEvent::Kind::Arrival : UsbEvent::Kind::Removal));
    REQUIRE(!vendor || events[0].vendorId == *vendor);
    const std::string port = device.subsystem == "tty" ? device.name.value_or("") : "";
    REQUIRE(events[0].portName == QString::fromLocal8Bit(port.c_str()));
}

Bench &bench()
{
    static int count = 1;
    static std::array<char, 5> name{"fuzz"};
    static std::array<char *, 2> arguments{name.data(), nullptr};
    static QCoreApplication application(count, arguments.data());
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    static Bench only;
    return only;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Bench &monitor = bench();
    Input input(data, size);
    while (!input.isEmpty()) {
        const std::unique_ptr<udev_device> device = drawDevice(input);
        requireSense(*device, monitor.receive(device.get()));
    }
    // The next input finds a monitor that waits for no file.
    const QList<UsbEvent> lost = monitor.receive(nullptr, ENOBUFS);
    REQUIRE(lost.size() == 1 && lost[0].kind == UsbEvent::Kind::Lost);
    return 0;
}
