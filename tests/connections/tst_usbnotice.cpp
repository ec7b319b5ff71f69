// SPDX-License-Identifier: MIT
#include "connections/usbnotice.h"
#include "tests/support/testcase.h"

Q_DECLARE_METATYPE(UsbNotice)

/// The vendor id in what the operating system tells about a USB device, and what follows from it.
class TestUsbNotice : public TestCase
{
    Q_OBJECT

private slots:
    void parts_data();
    void parts();
    void vendorId_data();
    void vendorId();
    void veryLongPath();
    void runs_data();
    void runs();
};

namespace {

QString path(const char *text)
{
    return QString::fromLatin1(text);
}

} // namespace

void TestUsbNotice::parts_data()
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

void TestUsbNotice::parts()
{
    QFETCH(QString, path);
    QTEST(devicePathParts(path), "parts");
}

void TestUsbNotice::vendorId_data()
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

void TestUsbNotice::vendorId()
{
    QFETCH(QString, path);
    QTEST(vendorIdOfParts(devicePathParts(path)), "vendorId");
}

void TestUsbNotice::veryLongPath()
{
    const QString separators(1'000'000, u'#');
    QCOMPARE(devicePathParts(separators).size(), 1'000'000 - 4 + 1);
    QCOMPARE(vendorIdOfParts(devicePathParts(path(R"(\\?\USB#VID_04D8&)") + separators)), 0x04D8U);
    QCOMPARE(vendorIdOfParts({}), 0U);
}

void TestUsbNotice::runs_data()
{
    QTest::addColumn<UsbNotice>("notice");
    QTest::addColumn<quint32>("vendorId");
    QTest::addColumn<QList<quint32>>("ports");
    QTest::addColumn<QList<quint32>>("menu");
    QTest::addColumn<int>("runs");

    using List = QList<quint32>;
    const auto arrival = UsbNotice::Arrival;
    const auto removal = UsbNotice::Removal;
    QTest::newRow("adapter arrives, no ports") << arrival << 0x04D8U << List{} << List{} << 1;
    QTest::newRow("adapter arrives, ports of its vendor")
        << arrival << 0x04D8U << List{0x04D8, 0x04D8} << List{0x04D8} << 1;
    QTest::newRow("port arrives") << arrival << 0x0403U << List{0x0403} << List{} << 1;
    QTest::newRow("two ports of that vendor") << arrival << 0x0403U << List{0x0403, 0, 0x0403} << List{} << 2;
    QTest::newRow("other device arrives") << arrival << 0x046DU << List{0x0403} << List{0x046D} << 0;
    QTest::newRow("arrival without a vendor id, built-in ports")
        << arrival << 0U << List{0, 0} << List{} << 2;
    QTest::newRow("arrival without a vendor id, no ports") << arrival << 0U << List{} << List{} << 0;
    QTest::newRow("adapter leaves") << removal << 0x04D8U << List{} << List{0x04D8, 0x04D8} << 2;
    QTest::newRow("adapter leaves that the menu has not")
        << removal << 0x04D8U << List{0x04D8} << List{} << 0;
    QTest::newRow("port leaves") << removal << 0x0403U << List{} << List{0x04D8, 0x04D8, 0x0403} << 1;
    QTest::newRow("other device leaves") << removal << 0x046DU << List{0x046D} << List{0x0403, 0} << 0;
    QTest::newRow("more than 16 bits") << removal << 0x1'04D8U << List{} << List{0x04D8} << 0;
}

void TestUsbNotice::runs()
{
    QFETCH(UsbNotice, notice);
    QFETCH(quint32, vendorId);
    QFETCH(QList<quint32>, ports);
    QFETCH(QList<quint32>, menu);
    QFETCH(int, runs);
    QCOMPARE(discoveryRuns(notice, vendorId, ports, menu), runs);
}

QTEST_GUILESS_MAIN(TestUsbNotice)
#include "tst_usbnotice.moc"
