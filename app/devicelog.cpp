// SPDX-License-Identifier: MIT
#include "app/devicelog.h"

#include "connections/hexadecimal.h"
#include "log/logmessages.h"

namespace {

constexpr int UsbDigits = 4;

QString usbNumber(quint16 number)
{
    return QStringLiteral("%1").arg(number, UsbDigits, Hexadecimal, QLatin1Char('0')).toUpper();
}

QString portText(const SerialPort &port, const QString &exclusion)
{
    const QString usb =
        port.vendorId == 0 && port.productId == 0
            ? QStringLiteral("no USB numbers")
            : QStringLiteral("USB ") + usbNumber(port.vendorId) + u':' + usbNumber(port.productId);
    const QString place =
        exclusion.isEmpty() ? QStringLiteral("in the menu") : QStringLiteral("not in the menu: ") + exclusion;
    return QStringLiteral("port %1, \"%2\", %3, %4").arg(port.name, port.description, usb, place);
}

/// Those of `all` that are not among `others`.
QStringList without(QStringList all, const QStringList &others)
{
    all.removeIf([&others](const QString &text) { return others.contains(text); });
    return all;
}

} // namespace

QStringList portTexts(const QList<SerialPort> &ports)
{
    const QStringList reasons = exclusions(ports);
    QStringList texts;
    for (qsizetype i = 0; i < ports.size(); ++i)
        texts += portText(ports.at(i), reasons.at(i));
    return texts;
}

void DeviceLog::note(const QList<SerialPort> &ports, bool hasAdapter, const QString &librarySource)
{
    if (!hasLogFile())
        return;
    if (librarySource != library)
        logNote(QStringLiteral("SUB-20 library: ") + librarySource);
    library = librarySource;
    QStringList found = portTexts(ports);
    if (hasAdapter)
        found.prepend(QStringLiteral("SUB-20 adapter"));
    noteDevices(found);
}

void DeviceLog::noteDevices(const QStringList &found)
{
    if (isFirst && found.isEmpty())
        logNote(QStringLiteral("there is no port and no SUB-20 adapter"));
    for (const QString &device : without(devices, found))
        logNote(QStringLiteral("gone: ") + device);
    for (const QString &device : without(found, devices))
        logNote((isFirst ? QStringLiteral("there is: ") : QStringLiteral("new: ")) + device);
    devices = found;
    isFirst = false;
}
