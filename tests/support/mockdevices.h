// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>

#include <memory>

struct _UMockdevTestbed;

/// The machine's USB devices and serial ports, made up. While it lives, this process and the processes that
/// it starts see its devices and no real ones, as long as they run under umockdev-wrapper; a test of
/// zephyrin_test(... WITH_DEVICES) does. Arrivals and removals are reported to the udev monitors of all of
/// them.
///
/// A port name can be open in one process of the machine at a time: tests that open one and may run side by
/// side choose different names.
class MockDevices
{
public:
    MockDevices();
    ~MockDevices();
    MockDevices(const MockDevices &) = delete;
    MockDevices &operator=(const MockDevices &) = delete;

    /// Plugs in a serial port and returns its id. `description` may be empty. Vendor id 0 makes a built-in
    /// port that is no USB device. With `pty`, for example "/dev/pts/3", the port's device file leads there;
    /// without, there is no device file.
    QString addSerialPort(const QString &name, const QString &description, quint16 vendorId,
                          const QString &pty = {});
    /// Plugs in a USB device that is no serial port, and returns its id.
    QString addUsbDevice(quint16 vendorId, quint16 productId);
    /// A USB device that was there before turns out to be a serial port, as when its driver takes a moment.
    void addPortOf(const QString &id, const QString &name, const QString &description);
    /// A device with no more than it is given, and its id: `properties` are udev's, `attributes` the files in
    /// its folder, both a name and a value in turn. `parent` is the id of a device or empty.
    QString addPlainDevice(const char *subsystem, const QString &name, const QString &parent,
                           const QStringList &properties, const QStringList &attributes = {});
    /// Tells of something that neither adds nor removes the device, such as "change" or "bind".
    void report(const QString &id, const QString &action) const;
    /// Unplugs a device, and what hangs on it: when its removal is reported, it is gone already.
    void remove(const QString &id);

    /// Makes "/dev/NAME" lead to `pty`, or replaces where it leads.
    void linkNode(const QString &name, const QString &pty) const;
    /// Takes "/dev/NAME" away and leaves the device listed.
    void unlinkNode(const QString &name) const;

    /// The folder that stands for the root of the file system; empty without devices made up.
    static QString root();

private:
    /// What was added for one id: a device and those that hang on it.
    struct Chain
    {
        QStringList paths;    ///< below /sys, the parent first
        QString portName;     ///< empty when it is no serial port
        quint16 vendorId = 0; ///< 0 when it is no USB device
        quint16 productId = 0;
    };

    struct Release
    {
        void operator()(_UMockdevTestbed *released) const;
    };

    QString addDevice(const char *subsystem, const QString &name, const QString &parent,
                      const QStringList &properties, const QStringList &attributes = {});
    void addPort(Chain &chain, const QString &name, const QString &description);
    void removeDevice(const QString &path);
    Chain addUsbChain(quint16 vendorId, quint16 productId);
    Chain addBuiltInParent();

    std::unique_ptr<_UMockdevTestbed, Release> testbed;
    QHash<QString, Chain> chains;
    int added = 0;
};
