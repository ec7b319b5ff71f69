// SPDX-License-Identifier: MIT
#include "mockdevices.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace {

constexpr quint16 SerialPortProductId = 0x6001;

QString fourDigits(quint16 id)
{
    return QStringLiteral("%1").arg(id, 4, 16, QLatin1Char('0'));
}

/// Texts in the form of a C array of strings that ends with a null.
class CStrings
{
public:
    explicit CStrings(const QStringList &texts)
    {
        for (const QString &text : texts)
            bytes += text.toUtf8();
        for (QByteArray &text : bytes)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
    }
    char **data() { return pointers.data(); }

private:
    QByteArrayList bytes;
    std::vector<char *> pointers;
};

/// A monitor's socket that takes one more notice; also one behind which nobody listens any more.
bool hasRoom(const QString &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = path.toLocal8Bit();
    std::copy_n(name.begin(), std::min(static_cast<std::size_t>(name.size()), sizeof address.sun_path - 1),
                address.sun_path);
    pollfd probe{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), POLLOUT, 0};
    const bool refused =
        ::connect(probe.fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0;
    const bool result = refused || ::poll(&probe, 1, 0) > 0;
    ::close(probe.fd);
    return result;
}

/// A monitor that is slow to look holds a few notices only; one more would end this process. So it is waited
/// for; a monitor of this process looks meanwhile.
void waitForMonitors()
{
    constexpr int PatienceMs = 30000;
    const QDir folder(MockDevices::root(), QStringLiteral("event*"), QDir::Name, QDir::System);
    for (const QString &socket : folder.entryList())
        static_cast<void>(QTest::qWaitFor([&] { return hasRoom(folder.filePath(socket)); }, PatienceMs));
}

/// Properties that udev gives a USB device and everything that hangs on it.
QStringList usbProperties(quint16 vendorId, quint16 productId)
{
    return {QStringLiteral("ID_BUS"),      QStringLiteral("usb"),       QStringLiteral("ID_VENDOR_ID"),
            fourDigits(vendorId),          QStringLiteral("ID_VENDOR"), QStringLiteral("Made_Up"),
            QStringLiteral("ID_MODEL_ID"), fourDigits(productId)};
}

} // namespace

MockDevices::MockDevices() : testbed(umockdev_testbed_new()) {}

MockDevices::~MockDevices() = default;

void MockDevices::Release::operator()(_UMockdevTestbed *released) const
{
    g_object_unref(released);
}

QString MockDevices::root()
{
    return qEnvironmentVariable("UMOCKDEV_DIR");
}

QString MockDevices::addSerialPort(const QString &name, const QString &description, quint16 vendorId,
                                   const QString &pty)
{
    Chain chain = vendorId != 0 ? addUsbChain(vendorId, SerialPortProductId) : addBuiltInParent();
    if (!pty.isEmpty())
        linkNode(name, pty);
    addPort(chain, name, description);
    const QString id = chain.paths.first();
    chains.insert(id, chain);
    return id;
}

void MockDevices::addPort(Chain &chain, const QString &name, const QString &description)
{
    QStringList properties{QStringLiteral("DEVNAME"), QStringLiteral("/dev/") + name};
    if (chain.vendorId != 0)
        properties += usbProperties(chain.vendorId, chain.productId);
    if (!description.isEmpty())
        properties << QStringLiteral("ID_MODEL") << QString(description).replace(u' ', u'_');
    chain.paths += addDevice("tty", name, chain.paths.last(), properties);
    chain.portName = name;
}

void MockDevices::addPortOf(const QString &id, const QString &name, const QString &description)
{
    addPort(chains[id], name, description);
}

QString MockDevices::addPlainDevice(const char *subsystem, const QString &name, const QString &parent,
                                    const QStringList &properties, const QStringList &attributes)
{
    const QString id = addDevice(subsystem, name, parent, properties, attributes);
    chains.insert(id, {{id}, {}});
    return id;
}

void MockDevices::report(const QString &id, const QString &action) const
{
    waitForMonitors();
    umockdev_testbed_uevent(testbed.get(), id.toUtf8().constData(), action.toUtf8().constData());
}

QString MockDevices::addUsbDevice(quint16 vendorId, quint16 productId)
{
    const Chain chain = addUsbChain(vendorId, productId);
    chains.insert(chain.paths.first(), chain);
    return chain.paths.first();
}

void MockDevices::remove(const QString &id)
{
    const Chain chain = chains.take(id);
    if (!chain.portName.isEmpty())
        unlinkNode(chain.portName);
    std::for_each(chain.paths.crbegin(), chain.paths.crend(),
                  [this](const QString &path) { removeDevice(path); });
}

void MockDevices::linkNode(const QString &name, const QString &pty) const
{
    unlinkNode(name);
    QDir().mkpath(root() + QStringLiteral("/dev"));
    QFile::link(pty, root() + QStringLiteral("/dev/") + name);
}

void MockDevices::unlinkNode(const QString &name) const
{
    QFile::remove(root() + QStringLiteral("/dev/") + name);
}

/// Tells the arrival, too.
QString MockDevices::addDevice(const char *subsystem, const QString &name, const QString &parent,
                               const QStringList &properties, const QStringList &attributes)
{
    CStrings files(attributes);
    CStrings pairs(properties);
    const QByteArray parentPath = parent.toUtf8();
    waitForMonitors();
    gchar *const path = umockdev_testbed_add_devicev(testbed.get(), subsystem, name.toUtf8().constData(),
                                                     parent.isEmpty() ? nullptr : parentPath.constData(),
                                                     files.data(), pairs.data());
    const QString result = QString::fromUtf8(path);
    g_free(path);
    return result;
}

void MockDevices::removeDevice(const QString &path)
{
    // Out of the lists first: whoever hears of the removal and looks no longer finds the device. Its folder
    // has to stay until then, since the notice is made from it.
    const QString name = QFileInfo(path).fileName();
    for (const char *const list : {"/sys/class/tty/", "/sys/bus/usb/devices/", "/sys/bus/platform/devices/"})
        QFile::remove(root() + QString::fromLatin1(list) + name);
    const QByteArray devicePath = path.toUtf8();
    waitForMonitors();
    umockdev_testbed_uevent(testbed.get(), devicePath.constData(), "remove");
    umockdev_testbed_remove_device(testbed.get(), devicePath.constData());
}

/// A USB device and its one interface, both named as the kernel does.
MockDevices::Chain MockDevices::addUsbChain(quint16 vendorId, quint16 productId)
{
    const QString name = QStringLiteral("1-%1").arg(++added);
    const QStringList product{QStringLiteral("PRODUCT"),
                              QStringLiteral("%1/%2/100").arg(vendorId, 0, 16).arg(productId, 0, 16)};
    const QString device = addDevice("usb", name, {},
                                     QStringList{QStringLiteral("DEVTYPE"), QStringLiteral("usb_device")} +
                                         product + usbProperties(vendorId, productId));
    const QString interface =
        addDevice("usb", name + QStringLiteral(":1.0"), device,
                  QStringList{QStringLiteral("DEVTYPE"), QStringLiteral("usb_interface")} + product);
    return {{device, interface}, {}, vendorId, productId};
}

MockDevices::Chain MockDevices::addBuiltInParent()
{
    return {{addDevice("platform", QStringLiteral("builtin%1").arg(++added), {}, {})}, {}};
}
