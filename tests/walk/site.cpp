// SPDX-License-Identifier: MIT
#include "tests/walk/site.h"

#include "tests/support/bytes.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <array>

namespace {

constexpr quint16 AdapterVendor = 0x04D8;
constexpr quint16 PortVendor = 0x0403;
constexpr quint16 OtherVendor = 0x067B;

} // namespace

Site::Site()
{
    // The system locks ports by their names, for all programs of the machine.
    const QString prefix = QString::number(QCoreApplication::applicationPid()) + QStringLiteral("-COM");
    const auto port = [&](int number) { return path(prefix + QString::number(number)); };
    // One name is a part of another; of two ports in a row that cannot be chosen, the second one is kept.
    devices = {{{}, {}, AdapterVendor, true},
               {port(10), QStringLiteral("USB Serial Port"), PortVendor, false},
               {port(1), QStringLiteral("USB Serial Port"), PortVendor, true},
               {port(7), QStringLiteral("Serial over bluetooth link"), 0, false},
               {port(8), QString(), OtherVendor, false},
               {port(2), QStringLiteral("Communications Port"), 0, false},
               {port(4), QStringLiteral("Composite Serial Port"), AdapterVendor, true}};
    // Both protocols see nothing, one short piece, whole pieces only, and a short last piece.
    const auto add = [this](const char *name, int size) {
        all.append({path(QString::fromLatin1(name)), unevenBytes(size)});
    };
    add("one/empty.INC", 0);
    add("one/short.INC", 20);
    add("one/whole.INC", 96);
    add("two/uneven.INC", 101);
    add("two/longer.INC", 200);
    for (const char *const name : {"one", "two"})
        QDir(folder.path()).mkdir(QString::fromLatin1(name));
    for (const Image &image : std::as_const(all))
        setExists(image, true);
}

QList<UsbEvent> Site::notices(int number, UsbEvent::Kind kind) const
{
    const Device &which = device(number);
    if (which.vendorId == 0) // not on the USB: nothing is reported
        return {};
    QList<UsbEvent> events{{kind, which.vendorId}};
    const bool isReportedByName = number / devices.size() % 2 == 1 && !which.name.isEmpty();
    if (isReportedByName)
        events.append({kind, which.vendorId, which.name});
    return events;
}

UsbEvent Site::notice(int number) const
{
    using enum UsbEvent::Kind;
    const std::array events{UsbEvent{Arrival, AdapterVendor},
                            UsbEvent{Removal, AdapterVendor},
                            UsbEvent{Arrival, PortVendor},
                            UsbEvent{Removal, PortVendor},
                            UsbEvent{Arrival, 0},
                            UsbEvent{Removal, 0},
                            UsbEvent{Arrival, 0x1234},
                            UsbEvent{Lost},
                            UsbEvent{Arrival, PortVendor, device(2).name},
                            UsbEvent{Removal, PortVendor, device(2).name}};
    return events.at(static_cast<std::size_t>(number) % events.size());
}

void Site::setExists(const Image &image, bool exists)
{
    QFile file(image.fileName);
    if (!exists)
        file.remove();
    else if (!file.open(QIODevice::WriteOnly) || file.write(image.bytes) != image.bytes.size())
        qFatal("the image file cannot be written");
}
