// SPDX-License-Identifier: MIT
// MainWindow: USB arrivals and removals, on a system where none are reported.
#include "app/mainwindow.h"

bool MainWindow::registerUsbNotices()
{
    return true;
}

bool MainWindow::nativeEvent(const QByteArray &, void *, qintptr *)
{
    return false;
}
