// SPDX-License-Identifier: MIT
#include "connections/usbevent.h"

#include "connections/hexadecimal.h"
#include "sub20/sub20.h"

#include <algorithm>

namespace {

constexpr quint64 DeviceArrival = 0x8000;        // DBT_DEVICEARRIVAL
constexpr quint64 DeviceRemoveComplete = 0x8004; // DBT_DEVICEREMOVECOMPLETE
constexpr quint32 DeviceInterface = 5;           // DBT_DEVTYP_DEVICEINTERFACE
constexpr qsizetype PathPrefixLength = 4;

} // namespace

std::optional<UsbEvent::Kind> usbEventKind(quint64 eventCode)
{
    switch (eventCode) {
    case DeviceArrival:
        return UsbEvent::Kind::Arrival;
    case DeviceRemoveComplete:
        return UsbEvent::Kind::Removal;
    default:
        return std::nullopt;
    }
}

bool isDeviceInterface(quint32 deviceType)
{
    return deviceType == DeviceInterface;
}

QStringList devicePathParts(const QString &path)
{
    return path.mid(PathPrefixLength).split(u'#');
}

quint32 vendorIdOfParts(const QStringList &parts)
{
    return vendorIdOfDigits(parts.value(1).section(u'&', 0, 0).section(u'_', 1, 1));
}

quint32 vendorIdOfDigits(const QString &digits)
{
    return digits.toUInt(nullptr, Hexadecimal);
}

qsizetype discoveryRuns(const UsbEvent &event, const QList<quint32> &portVendors,
                        const QList<UsbConnection> &menu)
{
    if (event.kind == UsbEvent::Kind::Lost)
        return 1;
    const bool isArrival = event.kind == UsbEvent::Kind::Arrival;
    const bool isInMenu = std::any_of(menu.begin(), menu.end(), [&](const UsbConnection &connection) {
        return connection.portName == event.portName;
    });
    if (!event.portName.isEmpty() && isInMenu == isArrival)
        return 0;
    if (isArrival)
        return event.vendorId == Sub20::UsbVendorId ? 1 : portVendors.count(event.vendorId);
    return std::count_if(menu.begin(), menu.end(), [&](const UsbConnection &connection) {
        return connection.vendorId == event.vendorId;
    });
}
