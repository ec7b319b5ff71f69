// SPDX-License-Identifier: MIT
#include "connections/usbmonitor.h"
#include "tests/support/messagelog.h"
#include "tests/support/mockdevices.h"
#include "tests/support/nothingtoopen.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QSocketNotifier>

#include <dlfcn.h>
#include <libudev.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace {

/// How often the socket still has to report that it has overflowed.
int overflows = 0;
/// Whether the library has nothing to give, and leaves the number of an earlier error as it is.
bool isEmpty = false;
/// The socket that libudev gives instead of its own; -1 for its own.
int socketInstead = -1;

/// What the name stands for in the library behind this program.
template<typename Function> Function *original(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// These stand before the library's, for what cannot be made to happen with devices.
udev_device *udev_monitor_receive_device(udev_monitor *monitor)
{
    if (overflows > 0) {
        --overflows;
        errno = ENOBUFS;
        return nullptr;
    }
    if (isEmpty)
        return nullptr;
    return original<decltype(udev_monitor_receive_device)>("udev_monitor_receive_device")(monitor);
}

int udev_monitor_get_fd(udev_monitor *monitor)
{
    return socketInstead >= 0 ? socketInstead
                              : original<decltype(udev_monitor_get_fd)>("udev_monitor_get_fd")(monitor);
}

namespace {

constexpr quint16 ConverterVendorId = 0x0403;
constexpr quint16 AdapterVendorId = 0x04D8;
constexpr quint16 AdapterProductId = 0xFFC3;
/// Of a device whose notices show that everything before it has been reported.
constexpr quint16 LastVendorId = 0x1D6B;
constexpr uid_t OrdinaryUser = 65534;

const QString NodeName = QStringLiteral("/dev/bus/usb/001/007");
const QString OtherNodeName = QStringLiteral("/dev/bus/usb/001/008");
const QFile::Permissions Readable = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
const QFile::Permissions Writable = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
const QFile::Permissions Usable = Readable | Writable;
const QFile::Permissions Open =
    Readable | QFile::WriteOwner | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;

/// A monitor that listens, and what it has reported so far.
class Listener
{
public:
    Listener() { QVERIFY(monitor->start()); }

    const UsbMonitor *get() const { return monitor.get(); }
    QString lastPort() const { return spy.constLast()[0].value<UsbEvent>().portName; }

    /// Words such as "+04d8" for an arrival and "-0403" for a removal; "lost" for lost events.
    QStringList notices() const
    {
        QStringList words;
        for (const QList<QVariant> &notice : spy) {
            const auto event = notice[0].value<UsbEvent>();
            if (event.kind == UsbEvent::Kind::Lost) {
                words += QStringLiteral("lost");
                continue;
            }
            const bool arrival = event.kind == UsbEvent::Kind::Arrival;
            words += QStringLiteral("%1%2")
                         .arg(QLatin1Char(arrival ? '+' : '-'))
                         .arg(event.vendorId, 4, 16, QLatin1Char('0'));
        }
        return words;
    }

private:
    std::unique_ptr<UsbMonitor> monitor{makeUsbMonitor(nullptr)};
    QSignalSpy spy{monitor.get(), &UsbMonitor::reported};
};

/// While it lives, files are as usable as an ordinary user finds them, although the test may run as root.
class AsOrdinaryUser
{
public:
    AsOrdinaryUser()
    {
        // The folder of the made-up devices is its owner's alone.
        QVERIFY(QFile::setPermissions(MockDevices::root(), Open));
        if (::geteuid() == 0)
            QCOMPARE(::setreuid(OrdinaryUser, 0), 0);
    }
    ~AsOrdinaryUser()
    {
        if (::geteuid() == 0)
            static_cast<void>(::setreuid(0, 0));
    }
    AsOrdinaryUser(const AsOrdinaryUser &) = delete;
    AsOrdinaryUser &operator=(const AsOrdinaryUser &) = delete;
};

QStringList text(const std::initializer_list<const char *> &words)
{
    QStringList list;
    for (const char *const word : words)
        list += QString::fromLatin1(word);
    return list;
}

/// What udev knows of a USB device; its node may be empty.
QStringList adapterProperties(const QString &node, const char *vendorId = "04d8")
{
    QStringList properties = text({"DEVTYPE", "usb_device", "ID_VENDOR_ID", vendorId});
    if (!node.isEmpty())
        properties << QStringLiteral("DEVNAME") << node;
    return properties;
}

void makeNode(const QString &name, QFile::Permissions permissions)
{
    QFile file(MockDevices::root() + name);
    QVERIFY(file.open(QIODevice::WriteOnly, permissions));
    QVERIFY(file.setPermissions(permissions)); // whatever the user's mask
}

/// How many files and folders this process watches.
int watches()
{
    int count = 0;
    const QDir descriptors(QStringLiteral("/proc/self/fdinfo"));
    for (const QString &name : descriptors.entryList(QDir::Files)) {
        QFile file(descriptors.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            count += static_cast<int>(file.readAll().count("inotify wd:"));
    }
    return count;
}

/// A socket of the kernel's that device managers report to, listening to these groups of theirs.
class KernelSocket
{
public:
    explicit KernelSocket(quint32 groups)
        : descriptor(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT))
    {
        sockaddr_nl address{};
        address.nl_family = AF_NETLINK;
        address.nl_groups = groups;
        QCOMPARE(::bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~KernelSocket() { ::close(descriptor); }
    KernelSocket(const KernelSocket &) = delete;
    KernelSocket &operator=(const KernelSocket &) = delete;

    const int descriptor;
};

} // namespace

/// What a program on Linux learns of USB devices that come and go, and of their files.
class LinuxUsbMonitorTest : public TestCase
{
    Q_OBJECT

private slots:
    void vendorId_data();
    void vendorId();
    void removedDeviceIsKnownByWhatTheKernelReports();
    void vendorIdOfTheAdapterThatThePortHangsOn();
    void ignored_data();
    void ignored();
    void ignoredActions_data();
    void ignoredActions();

    void portIsReportedAMomentAfterItsDevice();
    void removalIsReportedForThePortAndItsDevice();
    void manyAtOnceAreReportedInTheirOrder();
    void everyMonitorIsReported();
    void nothingIsReportedBeforeTheStart();
    void deviceLeavesWhileNobodyListensAnyMore();
    void serialPortsHaveNames();
    void theWindowAnswersBetweenTwoNotices();
    void anOverflowIsReportedOnce();
    void anErrorBeforeIsNoOverflow();
    void adaptersOfLostEventsAreAwaited();

    void usableNodeIsReportedOnce();
    void missingNodeIsReportedAgainWhenItAppears();
    void unusableNodeIsReportedAgainWhenItsPermissionsAreSet_data();
    void unusableNodeIsReportedAgainWhenItsPermissionsAreSet();
    void nodeThatAppearsWithoutPermissionsIsFollowed();
    void eachNodeIsFollowedByItself();
    void nodeThatAppearsAfterTheRemovalIsNotReported();
    void nodesAreFollowedAgainTheNextTime();
    void theirFolderMayGoToo();
    void onlyAdaptersAreFollowed_data();
    void onlyAdaptersAreFollowed();
    void aRemovalTakesItsWatchesBack();
    void anAdapterThatIsThereAlreadyIsAwaited_data();
    void anAdapterThatIsThereAlreadyIsAwaited();

    void withoutSockets();
    void withoutDeviceManager_data();
    void withoutDeviceManager();

private:
    static void waitForAll(MockDevices &devices, const Listener &listener, const QStringList &expected);
    static void prepareNodeFolder();
};

/// Compares what was reported with what was `expected`, when there is no more to come.
void LinuxUsbMonitorTest::waitForAll(MockDevices &devices, const Listener &listener,
                                     const QStringList &expected)
{
    devices.addUsbDevice(LastVendorId, 1);
    QTRY_COMPARE(listener.notices(), expected + QStringList(QStringLiteral("+1d6b")));
}

void LinuxUsbMonitorTest::prepareNodeFolder()
{
    QVERIFY(QDir().mkpath(MockDevices::root() + QStringLiteral("/dev/bus/usb/001")));
}

void LinuxUsbMonitorTest::vendorId_data()
{
    QTest::addColumn<QString>("subsystem");
    QTest::addColumn<QStringList>("properties");
    QTest::addColumn<QString>("reported");
    const auto row = [](const char *name, const char *subsystem, const QStringList &properties,
                        const char *reported) {
        QTest::newRow(name) << QString::fromLatin1(subsystem) << properties << QString::fromLatin1(reported);
    };
    row("udev's vendor", "usb", text({"DEVTYPE", "usb_device", "ID_VENDOR_ID", "04d8"}), "04d8");
    row("capitals", "usb", text({"DEVTYPE", "usb_device", "ID_VENDOR_ID", "ABCD"}), "abcd");
    row("the kernel's product", "usb", text({"DEVTYPE", "usb_device", "PRODUCT", "4d8/ffc3/100"}), "04d8");
    row("a short vendor id", "usb", text({"DEVTYPE", "usb_device", "PRODUCT", "1/ffc3/100"}), "0001");
    row("both, udev's first", "usb",
        text({"DEVTYPE", "usb_device", "PRODUCT", "403/6001/600", "ID_VENDOR_ID", "067b"}), "067b");
    row("serial port", "tty", text({"DEVNAME", "/dev/ttyUSB0", "ID_VENDOR_ID", "0403"}), "0403");
}

void LinuxUsbMonitorTest::vendorId()
{
    QFETCH(const QString, subsystem);
    QFETCH(const QStringList, properties);
    QFETCH(const QString, reported);
    MockDevices devices;
    const Listener listener;
    const QString id =
        devices.addPlainDevice(subsystem.toLatin1().constData(), QStringLiteral("it"), {}, properties);
    QTRY_COMPARE(listener.notices(), QStringList(u'+' + reported));
    devices.remove(id);
    waitForAll(devices, listener, {u'+' + reported, u'-' + reported});
}

void LinuxUsbMonitorTest::removedDeviceIsKnownByWhatTheKernelReports()
{
    MockDevices devices;
    const QString id = devices.addPlainDevice("usb", QStringLiteral("9-1"), {},
                                              text({"DEVTYPE", "usb_device", "PRODUCT", "4d8/ffc3/100"}));
    const Listener listener;
    devices.remove(id);
    QTRY_COMPARE(listener.notices(), text({"-04d8"}));
}

void LinuxUsbMonitorTest::vendorIdOfTheAdapterThatThePortHangsOn()
{
    MockDevices devices;
    const QString device = devices.addPlainDevice(
        "usb", QStringLiteral("9-1"), {}, text({"DEVTYPE", "usb_device"}), text({"idVendor", "0403"}));
    const QString interface =
        devices.addPlainDevice("usb", QStringLiteral("9-1:1.0"), device, text({"DEVTYPE", "usb_interface"}));
    const Listener listener;
    devices.addPlainDevice("tty", QStringLiteral("ttyUSB0"), interface, text({"DEVNAME", "/dev/ttyUSB0"}));
    waitForAll(devices, listener, text({"+0403"}));
}

void LinuxUsbMonitorTest::ignored_data()
{
    QTest::addColumn<QString>("subsystem");
    QTest::addColumn<QStringList>("properties");
    const auto row = [](const char *name, const char *subsystem, const QStringList &properties) {
        QTest::newRow(name) << QString::fromLatin1(subsystem) << properties;
    };
    row("interface of a USB device", "usb",
        text({"DEVTYPE", "usb_interface", "PRODUCT", "4d8/ffc3/100", "ID_VENDOR_ID", "04d8"}));
    row("keyboard", "hidraw", text({"ID_VENDOR_ID", "04d8"}));
    row("network", "net", text({"ID_VENDOR_ID", "04d8"}));
    row("memory stick", "block", text({"DEVTYPE", "disk", "ID_VENDOR_ID", "04d8"}));
    row("built-in serial port", "tty", text({"DEVNAME", "/dev/ttyS0"}));
    row("USB device without vendor", "usb", text({"DEVTYPE", "usb_device"}));
    row("vendor that is no number", "usb", text({"DEVTYPE", "usb_device", "ID_VENDOR_ID", "vendor"}));
    row("vendor 0", "usb", text({"DEVTYPE", "usb_device", "ID_VENDOR_ID", "0000"}));
    row("vendor of more than 32 bits", "usb", text({"DEVTYPE", "usb_device", "ID_VENDOR_ID", "1000004d8"}));
    row("product that is no number", "usb", text({"DEVTYPE", "usb_device", "PRODUCT", "x/y/z"}));
    row("product without vendor", "usb", text({"DEVTYPE", "usb_device", "PRODUCT", "/ffc3/100"}));
}

void LinuxUsbMonitorTest::ignored()
{
    QFETCH(const QString, subsystem);
    QFETCH(const QStringList, properties);
    MockDevices devices;
    const Listener listener;
    const QString id =
        devices.addPlainDevice(subsystem.toLatin1().constData(), QStringLiteral("it"), {}, properties);
    devices.remove(id);
    waitForAll(devices, listener, {});
}

void LinuxUsbMonitorTest::ignoredActions_data()
{
    QTest::addColumn<QString>("action");
    for (const char *const action : {"change", "bind", "unbind", "move", "online", "offline"})
        QTest::newRow(action) << QString::fromLatin1(action);
}

void LinuxUsbMonitorTest::ignoredActions()
{
    QFETCH(const QString, action);
    MockDevices devices;
    const QString id = devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    const Listener listener;
    devices.report(id, action);
    waitForAll(devices, listener, {});
}

void LinuxUsbMonitorTest::portIsReportedAMomentAfterItsDevice()
{
    MockDevices devices;
    const Listener listener;
    const QString id = devices.addUsbDevice(ConverterVendorId, 0x6001);
    QTRY_COMPARE(listener.notices(), text({"+0403"}));
    devices.addPortOf(id, QStringLiteral("ttyUSB0"), QStringLiteral("Converter"));
    waitForAll(devices, listener, text({"+0403", "+0403"}));
}

void LinuxUsbMonitorTest::removalIsReportedForThePortAndItsDevice()
{
    MockDevices devices;
    const QString id =
        devices.addSerialPort(QStringLiteral("ttyUSB0"), QStringLiteral("Converter"), ConverterVendorId);
    const Listener listener;
    devices.remove(id);
    waitForAll(devices, listener, text({"-0403", "-0403"}));
}

void LinuxUsbMonitorTest::manyAtOnceAreReportedInTheirOrder()
{
    constexpr quint16 Devices = 50;
    MockDevices devices;
    const Listener listener;
    QStringList expected;
    for (quint16 vendorId = 0x1001; vendorId <= 0x1000 + Devices; ++vendorId) {
        devices.remove(devices.addUsbDevice(vendorId, 1));
        expected << QStringLiteral("+%1").arg(vendorId, 4, 16) << QStringLiteral("-%1").arg(vendorId, 4, 16);
    }
    waitForAll(devices, listener, expected);
}

void LinuxUsbMonitorTest::everyMonitorIsReported()
{
    MockDevices devices;
    const Listener first;
    const Listener second;
    devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    QTRY_COMPARE(first.notices(), text({"+04d8"}));
    QTRY_COMPARE(second.notices(), text({"+04d8"}));
}

void LinuxUsbMonitorTest::nothingIsReportedBeforeTheStart()
{
    MockDevices devices;
    const std::unique_ptr<UsbMonitor> monitor{makeUsbMonitor(nullptr)};
    const QSignalSpy spy(monitor.get(), &UsbMonitor::reported);
    const Listener listener;
    devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    QTRY_COMPARE(listener.notices(), text({"+04d8"}));
    QVERIFY(spy.isEmpty());
}

void LinuxUsbMonitorTest::deviceLeavesWhileNobodyListensAnyMore()
{
    MockDevices devices;
    auto gone = std::make_unique<Listener>();
    const QString id = devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    gone.reset(); // with a notice that it has not looked at
    const Listener listener;
    devices.remove(id);
    waitForAll(devices, listener, text({"-04d8"}));
}

void LinuxUsbMonitorTest::serialPortsHaveNames()
{
    MockDevices devices;
    const Listener listener;
    const QString id = devices.addUsbDevice(ConverterVendorId, 0x6001);
    QTRY_COMPARE(listener.notices(), text({"+0403"}));
    QCOMPARE(listener.lastPort(), QString());
    devices.addPortOf(id, QStringLiteral("ttyUSB0"), QStringLiteral("Converter"));
    QTRY_COMPARE(listener.notices(), text({"+0403", "+0403"}));
    QCOMPARE(listener.lastPort(), QStringLiteral("ttyUSB0"));
}

void LinuxUsbMonitorTest::theWindowAnswersBetweenTwoNotices()
{
    MockDevices devices;
    const Listener listener;
    QString course;
    QObject window;
    connect(listener.get(), &UsbMonitor::reported, &window, [&] {
        course += u'n';
        QMetaObject::invokeMethod(
            &window, [&] { course += u'a'; }, Qt::QueuedConnection);
    });
    for (int device = 0; device < 4; ++device)
        devices.addUsbDevice(ConverterVendorId, 0x6001);
    QTRY_COMPARE(course, QStringLiteral("nananana"));
}

void LinuxUsbMonitorTest::anOverflowIsReportedOnce()
{
    MockDevices devices;
    const Listener listener;
    for (int device = 0; device < 3; ++device)
        devices.addUsbDevice(ConverterVendorId, 0x6001); // of no interest any more
    overflows = 2;
    QTRY_COMPARE(listener.notices(), text({"lost"}));
    devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    waitForAll(devices, listener, text({"lost", "+04d8"}));
}

void LinuxUsbMonitorTest::anErrorBeforeIsNoOverflow()
{
    MockDevices devices;
    const Listener listener;
    QEvent readable(QEvent::SockAct);
    isEmpty = true;
    errno = ENOBUFS;
    QCoreApplication::sendEvent(listener.get()->findChild<QSocketNotifier *>(), &readable);
    isEmpty = false;
    waitForAll(devices, listener, {});
}

void LinuxUsbMonitorTest::adaptersOfLostEventsAreAwaited()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    const int before = watches();
    // Both events go missing.
    const QString id = devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    overflows = 1;
    QTRY_COMPARE(listener.notices(), text({"lost"}));
    QCOMPARE(watches(), before + 1);
    devices.remove(id);
    overflows = 1;
    QTRY_COMPARE(listener.notices(), text({"lost", "lost"}));
    QCOMPARE(watches(), before);
}

void LinuxUsbMonitorTest::usableNodeIsReportedOnce()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    makeNode(NodeName, Usable);
    const Listener listener;
    devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    QTRY_COMPARE(listener.notices(), text({"+04d8"}));
    makeNode(OtherNodeName, Usable);
    QVERIFY(QFile::setPermissions(MockDevices::root() + NodeName, Readable));
    waitForAll(devices, listener, text({"+04d8"}));
}

void LinuxUsbMonitorTest::missingNodeIsReportedAgainWhenItAppears()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    QTRY_COMPARE(listener.notices(), text({"+04d8"}));
    makeNode(NodeName, Usable);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8"}));
    QVERIFY(QFile::setPermissions(MockDevices::root() + NodeName, Readable));
    makeNode(OtherNodeName, Usable);
    waitForAll(devices, listener, text({"+04d8", "+04d8"}));
}

void LinuxUsbMonitorTest::unusableNodeIsReportedAgainWhenItsPermissionsAreSet_data()
{
    QTest::addColumn<QFile::Permissions>("before");
    QTest::newRow("neither read nor written") << QFile::Permissions();
    QTest::newRow("only read") << Readable;
    QTest::newRow("only written") << Writable;
}

void LinuxUsbMonitorTest::unusableNodeIsReportedAgainWhenItsPermissionsAreSet()
{
    QFETCH(const QFile::Permissions, before);
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    makeNode(NodeName, before);
    const Listener listener;
    devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    QTRY_COMPARE(listener.notices(), text({"+04d8"}));
    QVERIFY(QFile::setPermissions(MockDevices::root() + NodeName, Usable));
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8"}));
    waitForAll(devices, listener, text({"+04d8", "+04d8"}));
}

void LinuxUsbMonitorTest::nodeThatAppearsWithoutPermissionsIsFollowed()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    QTRY_COMPARE(listener.notices(), text({"+04d8"}));
    makeNode(NodeName, QFile::Permissions());
    // The notice of another device stands behind the look at the node.
    devices.addUsbDevice(ConverterVendorId, 1);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+0403"}));
    QVERIFY(QFile::setPermissions(MockDevices::root() + NodeName, Usable));
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+0403", "+04d8"}));
}

void LinuxUsbMonitorTest::eachNodeIsFollowedByItself()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    devices.addPlainDevice("usb", QStringLiteral("9-2"), {}, adapterProperties(OtherNodeName));
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8"}));
    makeNode(OtherNodeName, Usable);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8", "+04d8"}));
    makeNode(NodeName, Usable);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8", "+04d8", "+04d8"}));
    waitForAll(devices, listener, text({"+04d8", "+04d8", "+04d8", "+04d8"}));
}

void LinuxUsbMonitorTest::nodeThatAppearsAfterTheRemovalIsNotReported()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    const QString id = devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    devices.remove(id);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "-04d8"}));
    makeNode(NodeName, Usable);
    waitForAll(devices, listener, text({"+04d8", "-04d8"}));
}

void LinuxUsbMonitorTest::nodesAreFollowedAgainTheNextTime()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    QStringList expected;
    for (int round = 0; round < 3; ++round) {
        const QString id =
            devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
        expected += QStringLiteral("+04d8");
        QTRY_COMPARE(listener.notices(), expected);
        makeNode(NodeName, Usable);
        expected += QStringLiteral("+04d8");
        QTRY_COMPARE(listener.notices(), expected);
        QVERIFY(QFile::remove(MockDevices::root() + NodeName));
        devices.remove(id);
        expected += QStringLiteral("-04d8");
        QTRY_COMPARE(listener.notices(), expected);
    }
    waitForAll(devices, listener, expected);
}

void LinuxUsbMonitorTest::theirFolderMayGoToo()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    const QString id = devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    devices.remove(id);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "-04d8"}));
    QVERIFY(QDir(MockDevices::root() + QStringLiteral("/dev/bus")).removeRecursively());
    waitForAll(devices, listener, text({"+04d8", "-04d8"}));
}

void LinuxUsbMonitorTest::onlyAdaptersAreFollowed_data()
{
    QTest::addColumn<QString>("subsystem");
    QTest::addColumn<QStringList>("properties");
    QTest::addColumn<QString>("reported");
    const QStringList node{QStringLiteral("DEVNAME"), NodeName};
    QTest::newRow("device of another vendor")
        << QStringLiteral("usb") << adapterProperties(NodeName, "0403") << QStringLiteral("+0403");
    QTest::newRow("serial port of the adapter's vendor")
        << QStringLiteral("tty") << text({"ID_VENDOR_ID", "04d8"}) + node << QStringLiteral("+04d8");
}

void LinuxUsbMonitorTest::onlyAdaptersAreFollowed()
{
    QFETCH(const QString, subsystem);
    QFETCH(const QStringList, properties);
    QFETCH(const QString, reported);
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    const Listener listener;
    const int before = watches();
    devices.addPlainDevice(subsystem.toLatin1().constData(), QStringLiteral("it"), {}, properties);
    QTRY_COMPARE(listener.notices(), QStringList(reported));
    QCOMPARE(watches(), before);
    makeNode(NodeName, Usable);
    waitForAll(devices, listener, {reported});
}

void LinuxUsbMonitorTest::aRemovalTakesItsWatchesBack()
{
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    makeNode(NodeName, Readable);
    makeNode(OtherNodeName, Readable);
    const Listener listener;
    const int before = watches();
    const QString first =
        devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, adapterProperties(NodeName));
    const QString second =
        devices.addPlainDevice("usb", QStringLiteral("9-2"), {}, adapterProperties(OtherNodeName));
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8"}));
    QCOMPARE(watches(), before + 3); // both files and their folder
    devices.remove(first);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8", "-04d8"}));
    QCOMPARE(watches(), before + 2);
    devices.remove(second);
    QTRY_COMPARE(listener.notices(), text({"+04d8", "+04d8", "-04d8", "-04d8"}));
    QCOMPARE(watches(), before);
}

void LinuxUsbMonitorTest::anAdapterThatIsThereAlreadyIsAwaited_data()
{
    QTest::addColumn<QStringList>("properties");
    QTest::addColumn<bool>("hasFile");
    QTest::addColumn<QStringList>("reported");
    const QStringList adapter = adapterProperties(NodeName);
    QTest::newRow("without its file") << adapter << false << text({"+04d8"});
    QTest::newRow("without permissions") << adapter << true << text({"+04d8"});
    QTest::newRow("another vendor's") << adapterProperties(NodeName, "0403") << true << QStringList();
    QTest::newRow("without a node") << adapterProperties({}) << true << QStringList();
}

void LinuxUsbMonitorTest::anAdapterThatIsThereAlreadyIsAwaited()
{
    QFETCH(const QStringList, properties);
    QFETCH(const bool, hasFile);
    QFETCH(const QStringList, reported);
    MockDevices devices;
    const AsOrdinaryUser user;
    prepareNodeFolder();
    if (hasFile)
        makeNode(NodeName, Readable);
    const QString id = devices.addPlainDevice("usb", QStringLiteral("9-1"), {}, properties);
    const int before = watches();
    const Listener listener;
    makeNode(NodeName, Usable);
    QTRY_COMPARE(listener.notices(), reported);
    QCOMPARE(watches(), before);
    waitForAll(devices, listener, reported);
}

void LinuxUsbMonitorTest::withoutSockets()
{
    MockDevices devices;
    const std::unique_ptr<UsbMonitor> monitor{makeUsbMonitor(nullptr)};
    const QSignalSpy spy(monitor.get(), &UsbMonitor::reported);
    {
        const NothingToOpen limit;
        QVERIFY(!monitor->start());
    }
    const Listener listener;
    devices.addUsbDevice(AdapterVendorId, AdapterProductId);
    QTRY_COMPARE(listener.notices(), text({"+04d8"}));
    QVERIFY(spy.isEmpty());
}

void LinuxUsbMonitorTest::withoutDeviceManager_data()
{
    QTest::addColumn<quint32>("groups");
    QTest::addColumn<bool>("starts");
    QTest::newRow("nobody reports") << 0U << false;
    QTest::newRow("udev reports") << 2U << true;
}

void LinuxUsbMonitorTest::withoutDeviceManager()
{
    QFETCH(const quint32, groups);
    QFETCH(const bool, starts);
    // Without made-up devices: they would bring a socket of their own.
    const KernelSocket socket(groups);
    const std::unique_ptr<UsbMonitor> monitor{makeUsbMonitor(nullptr)};
    const MessageLog log;
    socketInstead = socket.descriptor;
    const auto ownSocketAgain = qScopeGuard([] { socketInstead = -1; });
    QCOMPARE(monitor->start(), starts);
    QCOMPARE(log.count(QStringLiteral("USB devices are not followed: no device monitor")), starts ? 0 : 1);
}

QTEST_GUILESS_MAIN(LinuxUsbMonitorTest)
#include "tst_usbmonitor_linux.moc"
