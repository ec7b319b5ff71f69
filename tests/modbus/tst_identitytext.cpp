// SPDX-License-Identifier: MIT
#include "modbus/frames.h"
#include "tests/support/testcase.h"

#include <algorithm>
#include <memory>

/// The printed identity of a panel, above all of one whose reply lies about its lengths.
class IdentityTextTest : public TestCase
{
    Q_OBJECT

private slots:
    void identity_data();
    void identity();
    void valuesMayHoldZeroBytes();
    void valueThatLeavesTheBufferIsCutThere();
    void headerThatLeavesTheBufferIsNoObject_data();
    void headerThatLeavesTheBufferIsNoObject();
    void lengthThatLeadsBeforeTheBufferEnds();
    void lengthThatStaysInPlaceEndsWithTheCount();
    void lengthThatGoesBackEndsWithTheCount();
    void everyLengthAndCountEnds();
};

namespace {

/// On the heap with nothing behind it, so that an address sanitizer sees each byte read outside.
std::unique_ptr<rtu::FrameBuffer> replyOf(const QByteArray &bytes)
{
    auto reply = std::make_unique<rtu::FrameBuffer>();
    std::copy(bytes.begin(), bytes.end(), reply->begin());
    return reply;
}

/// A reply of `count` objects that follow as `objects`.
std::unique_ptr<rtu::FrameBuffer> replyOf(int count, const QByteArray &objects)
{
    return replyOf(QByteArray::fromHex("502B0E01810000") + static_cast<char>(count) + objects);
}

} // namespace

void IdentityTextTest::identity_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("objects");
    QTest::addColumn<QByteArray>("text");

    const QByteArray three("\x00\x09Norvantic\x01\x08ZEPHYRIN\x02\x03"
                           "1.0",
                           26);
    QTest::newRow("three objects") << 80 << 3 << three
                                   << QByteArray("Address:080(0x50)\n"
                                                 "   Vendor        : Norvantic\n"
                                                 "   Product Code  : ZEPHYRIN\n"
                                                 "   Version       : 1.0\n");
    QTest::newRow("fewer than are there") << 1 << 1 << three
                                          << QByteArray("Address:001(0x01)\n"
                                                        "   Vendor        : Norvantic\n");
    QTest::newRow("no objects") << 255 << 0 << three << QByteArray("Address:255(0xFF)\n");
    QTest::newRow("unknown object") << 10 << 2 << QByteArray("\x03\x02hi\x80\x01!", 7)
                                    << QByteArray("Address:010(0x0A)\nhi\n!\n");
    QTest::newRow("empty value") << 10 << 1 << QByteArray("\x01\x00", 2)
                                 << QByteArray("Address:010(0x0A)\n   Product Code  : \n");
    QTest::newRow("negative length") << 10 << 2 << QByteArray("\x01\xFF\x00", 3)
                                     << QByteArray("Address:010(0x0A)\n   Product Code  : \n\n");
}

void IdentityTextTest::identity()
{
    QFETCH(int, address);
    QFETCH(int, count);
    QFETCH(QByteArray, objects);
    QTEST(rtu::identityText(static_cast<std::uint8_t>(address), *replyOf(count, objects)), "text");
}

void IdentityTextTest::valuesMayHoldZeroBytes()
{
    QCOMPARE(rtu::identityText(1, *replyOf(1, QByteArray("\x02\x03\x00x\x00", 5))),
             QByteArray("Address:001(0x01)\n   Version       : \0x\0\n", 41));
}

void IdentityTextTest::valueThatLeavesTheBufferIsCutThere()
{
    QByteArray objects("\x07\x7F", 2);
    objects += QByteArray(127, 'a');
    objects += QByteArray("\x07\x7F", 2);
    objects += QByteArray(117, 'b');
    QCOMPARE(objects.size() + 8, 256);
    QCOMPARE(rtu::identityText(1, *replyOf(3, objects)),
             "Address:001(0x01)\n" + QByteArray(127, 'a') + '\n' + QByteArray(117, 'b') + '\n');
}

void IdentityTextTest::headerThatLeavesTheBufferIsNoObject_data()
{
    QTest::addColumn<int>("lastLength");
    QTest::addColumn<int>("lines");

    // The second object begins at byte 128.
    QTest::newRow("header in the last two bytes") << 124 << 4;
    QTest::newRow("header in the last byte") << 125 << 3;
    QTest::newRow("header right behind") << 126 << 3;
    QTest::newRow("header further behind") << 127 << 3;
}

void IdentityTextTest::headerThatLeavesTheBufferIsNoObject()
{
    QFETCH(int, lastLength);
    QFETCH(int, lines);
    const auto reply = replyOf(3, QByteArray("\x07\x76", 2));
    (*reply)[128] = 7;
    (*reply)[129] = static_cast<std::uint8_t>(lastLength);
    QCOMPARE(rtu::identityText(1, *reply).count('\n'), lines);
}

void IdentityTextTest::lengthThatLeadsBeforeTheBufferEnds()
{
    QCOMPARE(rtu::identityText(1, *replyOf(255, QByteArray("\x02\x80", 2))),
             QByteArray("Address:001(0x01)\n   Version       : \n"));
}

void IdentityTextTest::lengthThatStaysInPlaceEndsWithTheCount()
{
    // -2 makes each object its own successor.
    const QByteArray text = rtu::identityText(1, *replyOf(255, QByteArray("\x02\xFE", 2)));
    QCOMPARE(text.count("   Version       : \n"), 255);
}

void IdentityTextTest::lengthThatGoesBackEndsWithTheCount()
{
    // -10 leads from byte 8 to byte 0, whose second byte is the function code: a value of 43 bytes.
    const QByteArray text = rtu::identityText(1, *replyOf(2, QByteArray("\x02\xF6", 2)));
    QVERIFY(text.startsWith("Address:001(0x01)\n   Version       : \n\x0E\x01\x81"));
    QCOMPARE(text.size(), 18 + 20 + 43 + 1);
}

void IdentityTextTest::everyLengthAndCountEnds()
{
    for (int length = 0; length <= 0xFF; ++length) {
        rtu::FrameBuffer reply;
        reply.fill(static_cast<std::uint8_t>(length));
        const QByteArray text = rtu::identityText(1, reply);
        QVERIFY(text.startsWith("Address:001(0x01)\n"));
        QVERIFY(text.size() <= 18 + 255 * (19 + 127 + 1));
    }
}

QTEST_GUILESS_MAIN(IdentityTextTest)
#include "tst_identitytext.moc"
