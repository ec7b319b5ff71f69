// SPDX-License-Identifier: MIT
// MainWindow: USB arrivals and removals, on a system where none are reported.
#include "app/mainwindow.h"

void MainWindow::registerUsbNotices()
{
    // There is nobody to register with.
}

bool MainWindow::nativeEvent(const QByteArray &, void *, qintptr *)
{
    return false;
}
