// SPDX-License-Identifier: MIT
#include "connections/serialports.h"

#include <QSerialPortInfo>

namespace {

bool isUnusable(const SerialPort &port)
{
    return port.description.isEmpty() ||
           port.description.contains(QStringLiteral("Bluetooth"), Qt::CaseInsensitive);
}

} // namespace

QList<SerialPort> systemSerialPorts()
{
    QList<SerialPort> ports;
    const QList<QSerialPortInfo> infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &info : infos)
        ports += SerialPort{info.portName(), info.description(), info.vendorIdentifier()};
    return ports;
}

QList<SerialPort> availableSerialPorts(QList<SerialPort> ports)
{
    for (qsizetype i = 0; i < ports.size(); ++i) {
        if (isUnusable(ports.at(i)))
            ports.removeAt(i);
    }
    return ports;
}
