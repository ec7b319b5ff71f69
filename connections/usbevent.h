// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>

/// What the operating system reports about a USB device, or about a serial port that hangs on one. The USB
/// vendor id says whom it concerns.
struct UsbEvent
{
    enum class Kind {
        Arrival,
        Removal,
        Lost, ///< events went missing: anything may have arrived or left
    };

    Kind kind = Kind::Lost;
    quint32 vendorId = 0;
    QString portName = {}; ///< Linux reports each serial port by itself; empty otherwise
};

/// What an entry of the connection menu has to do with USB.
struct UsbConnection
{
    quint32 vendorId = 0;
    QString portName = {}; ///< empty when it is no serial port
};

/// What the event code (DBT_...) of a WM_DEVICECHANGE message of Windows means; nothing, unless something
/// arrived or was removed.
[[nodiscard]] std::optional<UsbEvent::Kind> usbEventKind(quint64 eventCode);

/// Whether a device type (DBT_DEVTYP_...) of Windows is the one that comes with a device path.
[[nodiscard]] bool isDeviceInterface(quint32 deviceType);

/// The parts of a Windows device path such as "\\?\USB#VID_04D8&PID_FFC3#...": what stands between the "#"
/// behind its four-character prefix, empty parts included.
[[nodiscard]] QStringList devicePathParts(const QString &path);

/// The vendor id in the second of `parts`, the digits behind the first "_" of "VID_04D8&PID_FFC3".
[[nodiscard]] quint32 vendorIdOfParts(const QStringList &parts);

/// The vendor id that these hexadecimal digits stand for. 0 when they are none, or do not fit into 32 bits.
[[nodiscard]] quint32 vendorIdOfDigits(const QString &digits);

/// How often discovery has to run for an event, `portVendors` being the vendor ids of the serial ports that
/// are present and `menu` the entries before the first run. An arrival concerns the adapter, once, or each
/// port of that vendor; a removal concerns each menu entry of that vendor. A port that comes while the menu
/// has it already, or goes when the menu has it no more, changes nothing. Lost events take one look.
[[nodiscard]] qsizetype discoveryRuns(const UsbEvent &event, const QList<quint32> &portVendors,
                                      const QList<UsbConnection> &menu);
