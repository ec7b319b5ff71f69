// SPDX-License-Identifier: MIT
#include "connections/usbnotice.h"

#include "sub20/sub20.h"

namespace {

constexpr qsizetype PathPrefixLength = 4;
constexpr int Hexadecimal = 16;

} // namespace

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
