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

/// DBT_DEVICEARRIVAL and DBT_DEVICEREMOVECOMPLETE differ in this bit alone.
constexpr WPARAM RemovalBit = 0x4;

/// The device interface that a message tells of; null when it tells of something else.
const DEV_BROADCAST_DEVICEINTERFACE_W *deviceInterfaceOf(const MSG &message)
{
    if (message.message != WM_DEVICECHANGE || (message.wParam & ~RemovalBit) != DBT_DEVICEARRIVAL)
        return nullptr;
    const auto *const header = reinterpret_cast<const DEV_BROADCAST_HDR *>(message.lParam);
    if (!header || header->dbch_devicetype != DBT_DEVTYP_DEVICEINTERFACE)
        return nullptr;
    return reinterpret_cast<const DEV_BROADCAST_DEVICEINTERFACE_W *>(header);
}

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
    const MSG &notice = *static_cast<const MSG *>(message);
    const DEV_BROADCAST_DEVICEINTERFACE_W *const device = deviceInterfaceOf(notice);
    if (!device)
        return false;
    const QStringList parts = devicePathParts(QString::fromWCharArray(device->dbcc_name));
    for (const QString &part : parts)
        qDebug().noquote() << part;
    reactToUsbNotice(notice.wParam == DBT_DEVICEARRIVAL ? UsbNotice::Arrival : UsbNotice::Removal,
                     vendorIdOfParts(parts));
    return false;
}
