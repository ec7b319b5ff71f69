// SPDX-License-Identifier: MIT
#include "connections/usbnotice.h"

#include "sub20/sub20.h"

namespace {

constexpr quint32 DeviceArrival = 0x8000;        // DBT_DEVICEARRIVAL
constexpr quint32 DeviceRemoveComplete = 0x8004; // DBT_DEVICEREMOVECOMPLETE
constexpr quint32 DeviceInterface = 5;           // DBT_DEVTYP_DEVICEINTERFACE
constexpr qsizetype PathPrefixLength = 4;
constexpr int Hexadecimal = 16;

} // namespace

std::optional<UsbNotice> usbNoticeOf(quint32 eventCode, quint32 deviceType)
{
    if (deviceType != DeviceInterface)
        return std::nullopt;
    switch (eventCode) {
    case DeviceArrival:
        return UsbNotice::Arrival;
    case DeviceRemoveComplete:
        return UsbNotice::Removal;
    default:
        return std::nullopt;
    }
}

QStringList devicePathParts(const QString &path)
{
    return path.mid(PathPrefixLength).split(u'#');
}

quint32 vendorIdOfParts(const QStringList &parts)
{
    return parts.value(1).section(u'&', 0, 0).section(u'_', 1, 1).toUInt(nullptr, Hexadecimal);
}

qsizetype discoveryRuns(UsbNotice notice, quint32 vendorId, const QList<quint32> &portVendors,
                        const QList<quint32> &menuVendors)
{
    if (notice == UsbNotice::Removal)
        return menuVendors.count(vendorId);
    return vendorId == Sub20::UsbVendorId ? 1 : portVendors.count(vendorId);
}
