// SPDX-License-Identifier: MIT
// MainWindow: finds the adapter and the serial ports, and fills the connection menu.
#include "app/mainwindow.h"
#include "connections/connectiontype.h"
#include "connections/portfilter.h"

#include <QAction>
#include <QMenu>
#include <QSerialPortInfo>

QList<QSerialPortInfo> MainWindow::availableSerialPorts()
{
    QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    removeUnusablePorts(ports, [](const QSerialPortInfo &port) { return port.description(); });
    return ports;
}

void MainWindow::updateConnections()
{
    const QList<QSerialPortInfo> ports = availableSerialPorts();
    // The entries are the window's children: clearing the menu alone would leave them behind.
    qDeleteAll(menuActions->actions());
    const bool hasAdapter = Sub20::instance().findDevices(nullptr) != nullptr;
    if (!hasAdapter && ports.isEmpty()) {
        portName = QString();
        menuActions->setEnabled(false);
        showNoConnection(QStringLiteral("No Available Connections"));
        return;
    }

    const QString cableIcon = QStringLiteral(":/pictures/data_cable.png");
    if (hasAdapter) {
        addConnectionAction(QStringLiteral("InfraRed SUB-20"), QStringLiteral(":/pictures/infrared.png"),
                            ConnectionInfraRed, Sub20::UsbVendorId);
        addConnectionAction(QStringLiteral("Modbus SUB-20"), cableIcon, ConnectionModbusSub20,
                            Sub20::UsbVendorId);
    }
    menuActions->setEnabled(true);
    for (const QSerialPortInfo &port : ports)
        addConnectionAction(port.portName(), cableIcon, ConnectionComPort, port.vendorIdentifier());
    selectStoredConnection();
}
