// SPDX-License-Identifier: MIT
// MainWindow: the connection menu, and what follows when a USB device arrives or leaves.
#include "app/mainwindow.h"
#include "app/settingskeys.h"
#include "connections/connection.h"
#include "connections/connectionlabel.h"
#include "connections/usbevent.h"
#include "connections/usbmonitor.h"

#include <QAction>
#include <QIcon>
#include <QLabel>
#include <QList>
#include <QMenu>
#include <QPixmap>
#include <QSettings>
#include <QSpinBox>
#include <QStringList>

void MainWindow::updateConnections()
{
    const QList<SerialPort> allPorts = hardware.serialPorts();
    const QList<SerialPort> ports = availableSerialPorts(allPorts);
    // The entries are the window's children: clearing the menu alone would leave them behind.
    qDeleteAll(menuActions->actions());
    const bool hasAdapter = hardware.adapter.findDevices(nullptr) != nullptr;
    logBook.devices.note(allPorts, hasAdapter, hardware.adapter.librarySource());
    const QList<Connection> connections = connectionsOver(hasAdapter, ports);
    menuActions->setEnabled(!connections.isEmpty());
    if (connections.isEmpty()) {
        portName = QString();
        connectionLabel->showNoConnection(QStringLiteral("No Available Connections"));
        return;
    }
    for (const Connection &connection : connections)
        addConnectionAction(connection.text, connection.iconPath, connection.type, connection.vendorId);
    selectStoredConnection();
}

void MainWindow::addConnectionAction(const QString &text, const QString &iconPath, int type, quint16 vid)
{
    auto *const action = new QAction(text, this);
    action->setIcon(QIcon(QPixmap(iconPath)));
    action->setIconVisibleInMenu(true);
    action->setCheckable(true);
    action->setProperty("type", type);
    action->setProperty("vid", int{vid});
    menuActions->addAction(action);
}

void MainWindow::selectStoredConnection()
{
    const QList<QAction *> actions = menuActions->actions();
    if (actions.isEmpty())
        return;
    QStringList texts;
    for (const QAction *const action : actions)
        texts += action->text();
    const auto match = storedConnection(texts, deviceName,
                                        options.portFollowsMenu ? NameMatch::ExactFirst : NameMatch::First);
    QAction *const action = actions.at(match.value_or(0));
    if (isOverSerialPort(action->property("type").toInt()))
        portName = action->text();
    else if (!match)
        portName = QString();
    activateConnection(action);
    // What stands in for a port that the user picked, while that is unplugged, was not chosen by anybody.
    if (!options.portFollowsMenu || deviceName.isEmpty() || action->text() == deviceName)
        storeConnection(*action);
    showConnection(action->text());
}

void MainWindow::setConnectionType(QAction *action)
{
    activateConnection(action);
    storeConnection(*action);
    if (connectionType != ConnectionNone)
        showConnection(action->text());
    else
        connectionLabel->showNoConnection(QStringLiteral("No Connections"));
    if (options.portFollowsMenu) {
        deviceName = action->text();
        if (isOverSerialPort(connectionType))
            portName = action->text();
    }
}

void MainWindow::activateConnection(QAction *action)
{
    const QList<QAction *> actions = menuActions->actions();
    for (QAction *const other : actions)
        other->setChecked(false);
    action->setChecked(true);

    connectionType = action->property("type").toInt();
    const bool hasAddress = connectionHasAddress(connectionType);
    spinBoxAdress->setEnabled(hasAddress);
    labelAdress->setEnabled(hasAddress);
}

void MainWindow::storeConnection(const QAction &action)
{
    // Both names are the entry's text, whatever its type.
    settings->setValue(settingskey::ConnectionType, connectionType);
    settings->setValue(settingskey::Port, action.text());
    settings->setValue(settingskey::DeviceName, action.text());
    settings->sync();
}

void MainWindow::showConnection(const QString &text)
{
    connectionLabel->showConnection(text);
    if (text.contains(QStringLiteral("InfraRed"))) {
        spinBoxAdress->setEnabled(false);
        labelAdress->setEnabled(false);
    }
}

bool MainWindow::registerUsbMonitor()
{
    usbMonitor = hardware.usbMonitor(this);
    connect(usbMonitor, &UsbMonitor::reported, this, &MainWindow::reactToUsbEvent);
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
        const QList<SerialPort> ports = hardware.serialPorts();
        for (const SerialPort &port : ports)
            portVendors += port.vendorId;
    }
    QList<UsbConnection> menu;
    const QList<QAction *> actions = menuActions->actions();
    for (const QAction *const action : actions) {
        const bool isPort = isOverSerialPort(action->property("type").toInt());
        menu.append({action->property("vid").toUInt(), isPort ? action->text() : QString()});
    }
    for (qsizetype run = discoveryRuns(event, portVendors, menu); run > 0; --run) {
        updateConnections();
        refreshUpdateButton();
    }
}
