// SPDX-License-Identifier: MIT
#pragma once

#include "connections/usbnotice.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>

struct udev;
struct udev_device;
struct udev_monitor;

/// Tells of USB devices and USB serial ports that arrive and leave, as Linux's device manager reports them.
/// It sleeps in the event loop of the thread that made it until something happens.
class UdevMonitor : public QObject
{
    Q_OBJECT

public:
    explicit UdevMonitor(QObject *parent);
    ~UdevMonitor() override;

    UdevMonitor(const UdevMonitor &) = delete;
    UdevMonitor &operator=(const UdevMonitor &) = delete;

    /// False when the system has no device manager to listen to; nothing is told then.
    bool start();

signals:
    /// A device's node may become usable only after its arrival, when the user's permissions are set: then
    /// the arrival is told once more.
    void noticed(UsbNotice notice, quint32 vendorId);

private slots:
    void receiveEvents();
    void checkAwaitedNodes();

private:
    void handleEvent(udev_device *device);
    void awaitNode(const QString &node);

    struct UdevDeleter
    {
        void operator()(udev *context) const;
        void operator()(udev_monitor *monitor) const;
        void operator()(udev_device *device) const;
    };

    std::unique_ptr<udev, UdevDeleter> context;
    std::unique_ptr<udev_monitor, UdevDeleter> monitor;
    /// Nodes of adapters that cannot be used yet.
    QSet<QString> awaitedNodes;
    QFileSystemWatcher nodeWatcher;
};
