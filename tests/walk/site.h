// SPDX-License-Identifier: MIT
#pragma once

#include "connections/usbevent.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// What there is around the program in a walk: image files, and devices that may be plugged in.
class Site
{
public:
    struct Image
    {
        QString fileName;
        QByteArray bytes;
    };
    /// The adapter has no name; any other device is a serial port.
    struct Device
    {
        QString name;
        QString description;
        quint16 vendorId = 0;
        bool hasPanel = false; ///< it can be opened, and a panel answers
    };

    Site();

    QString path(const QString &name) const { return folder.filePath(name); }
    const QList<Image> &images() const { return all; }
    const Image &image(int number) const { return all.at(number % all.size()); }
    /// For the steps that plug in and pull out: the device, and what the system reports of it.
    const Device &device(int number) const { return devices.at(number % devices.size()); }
    QList<UsbEvent> notices(int number, UsbEvent::Kind kind) const;
    /// For the steps with a notice of a device that was there before, or was not.
    UsbEvent notice(int number) const;
    /// The image exists from now on, or does not.
    static void setExists(const Image &image, bool exists);

private:
    QTemporaryDir folder;
    QList<Image> all;
    QList<Device> devices;
};
