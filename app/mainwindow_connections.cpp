// SPDX-License-Identifier: MIT
// MainWindow: what follows when a USB device arrives or leaves.
#include "app/mainwindow.h"

#include "connections/connectiontype.h"
#include "connections/usbevent.h"
#include "connections/usbmonitor.h"

#include <QAction>
#include <QMenu>
#include <QSerialPortInfo>

bool MainWindow::registerUsbNotices()
{
    usbMonitor = makeUsbMonitor(this);
    connect(usbMonitor, &UsbMonitor::noticed, this, &MainWindow::reactToUsbEvent);
    usbMonitor->start();
    return true;
}

bool MainWindow::nativeEvent(const QByteArray &, void *message, qintptr *)
{
    // The window may get messages before it is complete.
    if (usbMonitor)
        usbMonitor->handleNativeEvent(message);
    return false;
}

void MainWindow::reactToUsbEvent(const UsbEvent &event)
{
    // Both lists as they stand before the first run: each run rebuilds the menu.
    QList<quint32> portVendors;
    if (event.kind == UsbEvent::Kind::Arrival) {
        for (const QSerialPortInfo &port : QSerialPortInfo::availablePorts())
            portVendors += port.vendorIdentifier();
    }
    QList<UsbConnection> menu;
    const QList<QAction *> actions = menuActions->actions();
    for (const QAction *const action : actions) {
        const bool isPort = action->property("type").toInt() == ConnectionComPort;
        menu.append({action->property("vid").toUInt(), isPort ? action->text() : QString()});
    }
    for (qsizetype run = discoveryRuns(event, portVendors, menu); run > 0; --run) {
        updateConnections();
        refreshUpdateButton();
    }
}
