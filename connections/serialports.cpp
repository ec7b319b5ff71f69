// SPDX-License-Identifier: MIT
#include "connections/serialports.h"

#include <QSerialPortInfo>

namespace {

/// Empty for a port that can be used.
QString whyUnusable(const SerialPort &port)
{
    if (port.description.isEmpty())
        return QStringLiteral("it has no description");
    return port.description.contains(QStringLiteral("Bluetooth"), Qt::CaseInsensitive)
               ? QStringLiteral("it is a Bluetooth port")
               : QString();
}

} // namespace

QList<SerialPort> systemSerialPorts()
{
    QList<SerialPort> ports;
    const QList<QSerialPortInfo> infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &info : infos)
        ports += SerialPort{info.portName(), info.description(), info.vendorIdentifier(),
                            info.productIdentifier()};
    return ports;
}

QStringList exclusions(const QList<SerialPort> &ports)
{
    QStringList reasons;
    for (const SerialPort &port : ports) {
        const bool isLookedAt = reasons.isEmpty() || reasons.constLast().isEmpty();
        reasons += isLookedAt ? whyUnusable(port) : QString();
    }
    return reasons;
}

QList<SerialPort> availableSerialPorts(const QList<SerialPort> &ports)
{
    const QStringList reasons = exclusions(ports);
    QList<SerialPort> available;
    for (qsizetype i = 0; i < ports.size(); ++i) {
        if (reasons.at(i).isEmpty())
            available += ports.at(i);
    }
    return available;
}
