// SPDX-License-Identifier: MIT
#include "connections/discovery.h"

#include "connections/portfilter.h"
#include "sub20/sub20.h"

QList<QSerialPortInfo> availableSerialPorts()
{
    QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    removeUnusablePorts(ports, [](const QSerialPortInfo &port) { return port.description(); });
    return ports;
}

QList<Connection> availableConnections(Sub20 &adapter)
{
    QList<ConnectionPort> ports;
    for (const QSerialPortInfo &port : availableSerialPorts())
        ports += ConnectionPort{port.portName(), port.vendorIdentifier()};
    return connectionsOver(adapter.findDevices(nullptr) != nullptr, ports);
}
