// SPDX-License-Identifier: MIT
// MainWindow: what follows when a USB device arrives or leaves.
#include "app/mainwindow.h"
#include "connections/usbnotice.h"

#include <QAction>
#include <QMenu>
#include <QSerialPortInfo>

void MainWindow::reactToUsbNotice(UsbNotice notice, quint32 vendorId)
{
    // Both lists as they stand before the first run: each run rebuilds the menu.
    QList<quint32> portVendors;
    if (notice == UsbNotice::Arrival) {
        for (const QSerialPortInfo &port : QSerialPortInfo::availablePorts())
            portVendors += port.vendorIdentifier();
    }
    QList<quint32> menuVendors;
    const QList<QAction *> actions = menuActions->actions();
    for (const QAction *const action : actions)
        menuVendors += action->property("vid").toUInt();

    for (qsizetype run = discoveryRuns(notice, vendorId, portVendors, menuVendors); run > 0; --run) {
        updateConnections();
        refreshUpdateButton();
    }
}
