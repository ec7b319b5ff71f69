// SPDX-License-Identifier: MIT
// MainWindow: USB arrivals and removals, as Windows reports them to the window.
#include "app/mainwindow.h"
#include "connections/usbnotice.h"

#include <QCoreApplication>
#include <QDebug>

#include <windows.h>

#include <dbt.h>

namespace {

/// GUID_DEVINTERFACE_USB_DEVICE
constexpr GUID UsbDeviceInterface{
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

static_assert(sizeof(DEV_BROADCAST_DEVICEINTERFACE_W) == 32);

} // namespace

void MainWindow::registerUsbNotices()
{
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof filter;
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    filter.dbcc_classguid = UsbDeviceInterface;
    usbNotification =
        RegisterDeviceNotificationW(reinterpret_cast<HANDLE>(winId()), &filter, DEVICE_NOTIFY_WINDOW_HANDLE);
    if (!usbNotification) {
        qDebug("Error: Failed to register device notification!");
        // Before the event loop runs, quit() itself would do nothing.
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    }
}

bool MainWindow::nativeEvent(const QByteArray &, void *message, qintptr *)
{
    const MSG &change = *static_cast<const MSG *>(message);
    if (change.message != WM_DEVICECHANGE || change.lParam == 0)
        return false;
    const auto *const header = reinterpret_cast<const DEV_BROADCAST_HDR *>(change.lParam);
    const std::optional<UsbNotice> notice =
        usbNoticeOf(static_cast<quint32>(change.wParam), header->dbch_devicetype);
    if (!notice)
        return false;
    const auto *const device = reinterpret_cast<const DEV_BROADCAST_DEVICEINTERFACE_W *>(header);
    const QStringList parts = devicePathParts(QString::fromWCharArray(device->dbcc_name));
    for (const QString &part : parts)
        qDebug().noquote() << part;
    reactToUsbNotice(*notice, vendorIdOfParts(parts));
    return false;
}
