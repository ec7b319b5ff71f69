// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// What the operating system tells about a USB device. Of the device, only its USB vendor id matters.
enum class UsbNotice { Arrival, Removal };

/// What a WM_DEVICECHANGE message of Windows tells, from its event code (DBT_...) and the type of the device
/// (DBT_DEVTYP_...) that it names; nothing, unless a device interface arrived or was removed.
std::optional<UsbNotice> usbNoticeOf(quint32 eventCode, quint32 deviceType);

/// The parts of a Windows device path such as "\\?\USB#VID_04D8&PID_FFC3#...": what stands between the "#"
/// behind its four-character prefix, empty parts included.
QStringList devicePathParts(const QString &path);

/// The vendor id in the second of `parts`, hexadecimal digits behind the first "_" of "VID_04D8&PID_FFC3". 0
/// when there are none, or when they do not fit into 32 bits.
quint32 vendorIdOfParts(const QStringList &parts);

/// How often discovery has to run for a device of `vendorId`. An arrival concerns the adapter, once, or each
/// serial port of that vendor; a removal concerns each menu entry of that vendor.
qsizetype discoveryRuns(UsbNotice notice, quint32 vendorId, const QList<quint32> &portVendors,
                        const QList<quint32> &menuVendors);
