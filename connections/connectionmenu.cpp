// SPDX-License-Identifier: MIT
// MainWindow: the connection menu and the status label.
#include "app/mainwindow.h"
#include "connections/connectiontype.h"

#include <QAction>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QPixmap>
#include <QSettings>
#include <QSpinBox>

#include <algorithm>

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

void MainWindow::setConnectionType(QAction *action)
{
    activateConnection(action);
    if (options.portFollowsMenu) {
        deviceName = action->text();
        if (connectionType == ConnectionComPort)
            portName = action->text();
    }
}

void MainWindow::activateConnection(QAction *action)
{
    const QList<QAction *> actions = menuActions->actions();
    for (QAction *const other : actions)
        other->setChecked(false);
    action->setChecked(true);

    const QString text = action->text();
    connectionType = action->property("type").toInt();
    const bool isModbus = connectionType > ConnectionInfraRed;
    spinBoxAdress->setEnabled(isModbus);
    labelAdress->setEnabled(isModbus);

    // Both names are the entry's text, whatever its type.
    settings->setValue(QStringLiteral("settings/connection_type"), connectionType);
    settings->setValue(QStringLiteral("settings/port"), text);
    settings->setValue(QStringLiteral("settings/deviceName"), text);
    settings->sync();

    if (connectionType != ConnectionNone)
        showConnection(text);
    else
        showNoConnection(QStringLiteral("No Connections"));
}

void MainWindow::selectStoredConnection()
{
    const QList<QAction *> actions = menuActions->actions();
    if (actions.isEmpty())
        return;

    // The first entry whose text contains the stored name: an empty name takes the first one, and a stored
    // COM1 takes a COM10 that stands before it.
    auto match = std::find_if(actions.begin(), actions.end(),
                              [this](const QAction *action) { return action->text().contains(deviceName); });
    if (options.portFollowsMenu) { // what was picked stays picked, whatever stands before it
        const auto same = std::find_if(
            match, actions.end(), [this](const QAction *action) { return action->text() == deviceName; });
        match = same != actions.end() ? same : match;
    }
    QAction *const action = match != actions.end() ? *match : actions.first();
    const bool isPort = action->property("type").toInt() == ConnectionComPort;
    if (isPort)
        portName = action->text();
    else if (match == actions.end())
        portName = QString();
    activateConnection(action);
    showConnection(action->text());
}

void MainWindow::showConnection(const QString &text)
{
    labelDevName->setStyleSheet(QStringLiteral("color: green; font-size: 10"));
    keepReadable(); // a new sheet takes the label's palette back
    labelDevName->setText(QStringLiteral("Connection via ") + text);
    if (text.contains(QStringLiteral("InfraRed"))) {
        spinBoxAdress->setEnabled(false);
        labelAdress->setEnabled(false);
    }
}

void MainWindow::showNoConnection(const QString &text)
{
    labelDevName->setStyleSheet(QStringLiteral("color: red; font-size: 10"));
    keepReadable(); // a new sheet takes the label's palette back
    labelDevName->setText(text);
}
