// SPDX-License-Identifier: MIT
#include "connections/usbevent.h"
#include "tests/support/testcase.h"

Q_DECLARE_METATYPE(UsbEvent::Kind)
/// The vendor id in what the operating system reports about a USB device, and what follows from it.
class UsbEventTest : public TestCase
{
    Q_OBJECT

private slots:
    void eventCodes_data();
    void eventCodes();
    void deviceTypes();
    void parts_data();
    void parts();
    void vendorId_data();
    void vendorId();
    void veryLongPath();
    void runs_data();
    void runs();
    void runsForNamedPorts_data();
    void runsForNamedPorts();
};

namespace {

QString path(const char *text)
{
    return QString::fromLatin1(text);
}

QString port(int number)
{
    return QStringLiteral("ttyUSB%1").arg(number);
}

} // namespace

void UsbEventTest::eventCodes_data()
{
    QTest::addColumn<quint64>("eventCode");
    QTest::addColumn<std::optional<UsbEvent::Kind>>("kind");
    const auto row = [](const char *name, quint64 eventCode, std::optional<UsbEvent::Kind> kind) {
        QTest::newRow(name) << eventCode << kind;
    };
    row("arrival", 0x8000, UsbEvent::Kind::Arrival);
    row("removal", 0x8004, UsbEvent::Kind::Removal);
    row("zero", 0, {});
    row("device nodes changed", 0x8007, {});
    row("device nodes changed, as Windows numbers it", 0x0007, {});
    row("query remove", 0x8001, {});
    row("device type specific", 0x8005, {});
    row("a bit above the arrival's", 0x1'8000, {});
    row("a bit above the removal's 32", 0x1'0000'8004, {});
}

void UsbEventTest::eventCodes()
{
    QFETCH(const quint64, eventCode);
    QFETCH(const std::optional<UsbEvent::Kind>, kind);
    QVERIFY(usbEventKind(eventCode) == kind);
}

void UsbEventTest::deviceTypes()
{
    QVERIFY(isDeviceInterface(5));
    for (const quint32 other : {0U, 2U, 3U, 4U, 6U, 0x1'0005U})
        QVERIFY(!isDeviceInterface(other));
}

void UsbEventTest::parts_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("parts");

    QTest::newRow("adapter")
        << path(R"(\\?\USB#VID_04D8&PID_FFC3#5&1&0#{a5dcbf10-6530-11d2-901f-00c04fb951ed})")
        << QStringList{path("USB"), path("VID_04D8&PID_FFC3"), path("5&1&0"),
                       path("{a5dcbf10-6530-11d2-901f-00c04fb951ed}")};
    QTest::newRow("empty parts stay")
        << path(R"(\\?\##a#)") << QStringList{path(""), path(""), path("a"), path("")};
    QTest::newRow("no separator") << path(R"(\\?\USB)") << QStringList{path("USB")};
    QTest::newRow("prefix alone") << path(R"(\\?\)") << QStringList{path("")};
    QTest::newRow("shorter than the prefix") << path("#") << QStringList{path("")};
    QTest::newRow("empty") << QString() << QStringList{path("")};
    QTest::newRow("prefix goes, whatever it is") << path("a#b#c#d") << QStringList{path("c"), path("d")};
}

void UsbEventTest::parts()
{
    QFETCH(QString, path);
    QTEST(devicePathParts(path), "parts");
}

void UsbEventTest::vendorId_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<quint32>("vendorId");

    QTest::newRow("adapter") << path(R"(\\?\USB#VID_04D8&PID_FFC3#5&1&0#{a5dcbf10})") << 0x04D8U;
    QTest::newRow("lower case") << path(R"(\\?\usb#vid_0403&pid_6001#a)") << 0x0403U;
    QTest::newRow("hexadecimal letters") << path(R"(\\?\USB#VID_aBcD&PID_1)") << 0xABCDU;
    QTest::newRow("no product id") << path(R"(\\?\USB#VID_04D8)") << 0x04D8U;
    QTest::newRow("something behind it") << path(R"(\\?\USB#VID_04D8_REV&PID_1)") << 0x04D8U;
    QTest::newRow("32 bits") << path(R"(\\?\USB#VID_FFFFFFFF#)") << 0xFFFFFFFFU;
    QTest::newRow("33 bits") << path(R"(\\?\USB#VID_100000000#)") << 0U;
    QTest::newRow("far too many digits") << path(R"(\\?\USB#VID_)") + QString(5000, u'F') << 0U;
    QTest::newRow("zeros before it") << path(R"(\\?\USB#VID_000000000000000004D8#)") << 0x04D8U;
    QTest::newRow("no second part") << path(R"(\\?\USB)") << 0U;
    QTest::newRow("empty second part") << path(R"(\\?\USB##VID_04D8)") << 0U;
    QTest::newRow("no underscore") << path(R"(\\?\USB#VID04D8&PID_FFC3#)") << 0U;
    QTest::newRow("nothing behind the underscore") << path(R"(\\?\USB#VID_&PID_FFC3#)") << 0U;
    QTest::newRow("not a number") << path(R"(\\?\USB#VID_WXYZ#)") << 0U;
    QTest::newRow("a number and more") << path(R"(\\?\USB#VID_04D8Z#)") << 0U;
    QTest::newRow("negative") << path(R"(\\?\USB#VID_-1#)") << 0U;
    QTest::newRow("another device first") << path(R"(\\?\USB#ROOT_HUB30&VID_04D8#)") << 0U;
    QTest::newRow("vendor id in the first part") << path(R"(\\?\VID_04D8#x)") << 0U;
    QTest::newRow("empty") << QString() << 0U;
    QTest::newRow("broken UTF-16") << path(R"(\\?\USB#VID_)") + QChar(0xD800) + path("&#") + QChar(0xDC00)
                                   << 0U;
}

void UsbEventTest::vendorId()
{
    QFETCH(QString, path);
    QTEST(vendorIdOfParts(devicePathParts(path)), "vendorId");
}

void UsbEventTest::veryLongPath()
{
    const QString separators(1'000'000, u'#');
    QCOMPARE(devicePathParts(separators).size(), 1'000'000 - 4 + 1);
    QCOMPARE(vendorIdOfParts(devicePathParts(path(R"(\\?\USB#VID_04D8&)") + separators)), 0x04D8U);
    QCOMPARE(vendorIdOfParts({}), 0U);
}

void UsbEventTest::runs_data()
{
    QTest::addColumn<UsbEvent>("event");
    QTest::addColumn<QList<quint32>>("ports");
    QTest::addColumn<QList<UsbConnection>>("menu");
    QTest::addColumn<int>("runs");

    using Ports = QList<quint32>;
    using Menu = QList<UsbConnection>;
    const auto row = [](const char *name, const UsbEvent &event, const Ports &ports, const Menu &menu,
                        int runs) { QTest::newRow(name) << event << ports << menu << runs; };
    const auto arrival = [](quint32 vendorId) { return UsbEvent{UsbEvent::Kind::Arrival, vendorId}; };
    const auto removal = [](quint32 vendorId) { return UsbEvent{UsbEvent::Kind::Removal, vendorId}; };
    const Menu adapter{{0x04D8}, {0x04D8}};
    row("adapter arrives, no ports", arrival(0x04D8), {}, {}, 1);
    row("adapter arrives, ports of its vendor", arrival(0x04D8), {0x04D8, 0x04D8}, {{0x04D8}}, 1);
    row("port arrives", arrival(0x0403), {0x0403}, {}, 1);
    row("two ports of that vendor", arrival(0x0403), {0x0403, 0, 0x0403}, {}, 2);
    row("other device arrives", arrival(0x046D), {0x0403}, {{0x046D}}, 0);
    row("arrival without a vendor id, built-in ports", arrival(0), {0, 0}, {}, 2);
    row("arrival without a vendor id, no ports", arrival(0), {}, {}, 0);
    row("adapter leaves", removal(0x04D8), {}, adapter, 2);
    row("adapter leaves that the menu has not", removal(0x04D8), {0x04D8}, {}, 0);
    row("port leaves", removal(0x0403), {}, {{0x04D8}, {0x04D8}, {0x0403, port(0)}}, 1);
    row("other device leaves", removal(0x046D), {0x046D}, {{0x0403, port(0)}, {0}}, 0);
    row("more than 16 bits", removal(0x1'04D8), {}, {{0x04D8}}, 0);
    row("lost events", {}, {}, {}, 1);
    row("lost events, some ports", {}, {0, 0, 0x0403}, {{0, port(0)}, {0x0403, port(1)}}, 1);
}

void UsbEventTest::runs()
{
    QFETCH(const UsbEvent, event);
    QFETCH(const QList<quint32>, ports);
    QFETCH(const QList<UsbConnection>, menu);
    QFETCH(const int, runs);
    QCOMPARE(discoveryRuns(event, ports, menu), runs);
}

void UsbEventTest::runsForNamedPorts_data()
{
    QTest::addColumn<UsbEvent::Kind>("kind");
    QTest::addColumn<QString>("portName");
    QTest::addColumn<int>("runs");
    using Kind = UsbEvent::Kind;
    QTest::newRow("in the menu, arrives") << Kind::Arrival << port(0) << 0;
    QTest::newRow("not in the menu, arrives") << Kind::Arrival << port(2) << 3;
    QTest::newRow("in the menu, leaves") << Kind::Removal << port(1) << 2;
    QTest::newRow("not in the menu, leaves") << Kind::Removal << port(2) << 0;
    QTest::newRow("the device itself arrives") << Kind::Arrival << QString() << 3;
    QTest::newRow("the device itself leaves") << Kind::Removal << QString() << 2;
}

/// Of three ports of one vendor, two are in the menu.
void UsbEventTest::runsForNamedPorts()
{
    QFETCH(const UsbEvent::Kind, kind);
    QFETCH(const QString, portName);
    QFETCH(const int, runs);
    constexpr quint32 Vendor = 0x0403;
    const QList<UsbConnection> menu{{0x04D8}, {Vendor, port(0)}, {Vendor, port(1)}};
    QCOMPARE(discoveryRuns({kind, Vendor, portName}, {Vendor, Vendor, Vendor}, menu), runs);
}

QTEST_GUILESS_MAIN(UsbEventTest)
#include "tst_usbevent.moc"
