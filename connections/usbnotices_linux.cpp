// SPDX-License-Identifier: MIT
// MainWindow: USB arrivals and removals, as Linux's device manager reports them.
#include "app/mainwindow.h"
#include "connections/udevmonitor.h"

#include <QDebug>

void MainWindow::registerUsbNotices()
{
    auto *const monitor = new UdevMonitor(this);
    connect(monitor, &UdevMonitor::noticed, this, &MainWindow::reactToUsbNotice);
    if (!monitor->start())
        qDebug("USB devices are not followed: no device monitor");
}

bool MainWindow::nativeEvent(const QByteArray &, void *, qintptr *)
{
    return false;
}
