// SPDX-License-Identifier: MIT
// USB devices as Windows reports them, by messages to the window.
#include "connections/usbmonitor.h"

#include <QCoreApplication>
#include <QDebug>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <windows.h>

#include <dbt.h>

namespace {

/// GUID_DEVINTERFACE_USB_DEVICE
constexpr GUID UsbDeviceInterface{
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

static_assert(sizeof(DEV_BROADCAST_DEVICEINTERFACE_W) == 32);

class WindowsUsbMonitor : public UsbMonitor
{
public:
    explicit WindowsUsbMonitor(QWidget *registered) : UsbMonitor(registered), window(registered) {}

    /// Without a registration the program ends as soon as it runs.
    bool start() override
    {
        DEV_BROADCAST_DEVICEINTERFACE_W filter{};
        filter.dbcc_size = sizeof filter;
        filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
        filter.dbcc_classguid = UsbDeviceInterface;
        // Windows takes the registration back with the window.
        notification = RegisterDeviceNotificationW(reinterpret_cast<HANDLE>(window->winId()), &filter,
                                                   DEVICE_NOTIFY_WINDOW_HANDLE);
        if (notification)
            return true;
        qDebug("Error: Failed to register device notification!");
        // Before the event loop runs, quit() itself would do nothing.
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        return false;
    }

    void handleNativeEvent(void *message) override
    {
        const MSG &change = *static_cast<const MSG *>(message);
        if (change.message != WM_DEVICECHANGE)
            return;
        // The code comes first: with others than these two, lParam may be a number and no address.
        const std::optional<UsbEvent::Kind> kind = usbEventKind(change.wParam);
        if (kind && change.lParam != 0)
            handleRecord(*kind, reinterpret_cast<const DEV_BROADCAST_HDR *>(change.lParam));
    }

private:
    void handleRecord(UsbEvent::Kind kind, const DEV_BROADCAST_HDR *header)
    {
        if (!isDeviceInterface(header->dbch_devicetype))
            return;
        const auto *const device = reinterpret_cast<const DEV_BROADCAST_DEVICEINTERFACE_W *>(header);
        const QStringList parts = devicePathParts(QString::fromWCharArray(device->dbcc_name));
        for (const QString &part : parts)
            qDebug().noquote() << part;
        emit reported({kind, vendorIdOfParts(parts)});
    }

    QWidget *window;
    HDEVNOTIFY notification = nullptr;
};

} // namespace

UsbMonitor *makeUsbMonitor(QWidget *window)
{
    return new WindowsUsbMonitor(window);
}
