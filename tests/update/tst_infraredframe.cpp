// SPDX-License-Identifier: MIT
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"
#include "update/infraredframe.h"

#include <algorithm>
#include <vector>

/// Infrared frames against literal bytes.
class InfraredFrameTest : public TestCase
{
    Q_OBJECT

private slots:
    void checksum_data();
    void checksum();
    void frame_data();
    void frame();
    void everyBlockAndNumberBitCounts();
    void olderLayout_data();
    void olderLayout();
    void numbering();
};

namespace {

infrared::Block blockOf(const QByteArray &bytes)
{
    infrared::Block block{};
    std::copy(bytes.begin(), bytes.end(), block.begin());
    return block;
}

/// Built into a buffer of A5, so that what is not written shows.
QByteArray builtFrame(int variant, int number, const QByteArray &block)
{
    infrared::Frame frame;
    frame.fill(0xA5);
    infrared::buildFrame(frame, variant, static_cast<std::uint8_t>(number), blockOf(block));
    return byteArray(frame);
}

} // namespace

void InfraredFrameTest::checksum_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("crc");

    QTest::newRow("no bytes") << QByteArray() << 0x00;
    QTest::newRow("check value of the CRC catalogue") << QByteArray("123456789") << 0xEA;
    QTest::newRow("the polynomial itself") << QByteArray::fromHex("01") << 0x9B;
    QTest::newRow("number 0 and 48 zero bytes") << QByteArray(49, '\0') << 0x00;
    QTest::newRow("number 1 and 48 zero bytes") << QByteArray(1, '\1') + QByteArray(48, '\0') << 0x19;
}

void InfraredFrameTest::checksum()
{
    QFETCH(QByteArray, bytes);
    QTEST(int{infrared::crc8(byteView(bytes))}, "crc");
}

void InfraredFrameTest::frame_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<QByteArray>("bytes");

    const QByteArray zeros(48, '\0');
    QTest::newRow("zeros, number 0") << 0 << zeros
                                     << QByteArray::fromHex("5555C3EA00") + zeros +
                                            QByteArray::fromHex("00FFFFFFFFFFFFFFFF");
    QTest::newRow("zeros, number 1") << 1 << zeros
                                     << QByteArray::fromHex("5555C3EA01") + zeros +
                                            QByteArray::fromHex("19FFFFFFFFFFFFFFFF");
    QTest::newRow("counting, number 255")
        << 255 << countingBytes(0, 48)
        << QByteArray::fromHex("5555C3EAFF000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F"
                               "202122232425262728292A2B2C2D2E2FEBFFFFFFFFFFFFFFFF");
}

void InfraredFrameTest::frame()
{
    QFETCH(int, number);
    QFETCH(QByteArray, block);
    QFETCH(QByteArray, bytes);
    QCOMPARE(bytes.size(), 62);
    QCOMPARE(builtFrame(infrared::CrcVariant, number, block).toHex(), bytes.toHex());
}

void InfraredFrameTest::everyBlockAndNumberBitCounts()
{
    const QByteArray plain = builtFrame(infrared::CrcVariant, 7, countingBytes(0x30, 48));
    for (int bit = 0; bit < 49 * 8; ++bit) {
        QByteArray changed = plain.mid(4, 49);
        changed[bit / 8] = static_cast<char>(changed.at(bit / 8) ^ (1 << bit % 8));
        const QByteArray other = builtFrame(infrared::CrcVariant, changed.at(0), changed.mid(1));
        QVERIFY2(other.at(53) != plain.at(53), qPrintable(QString::number(bit)));
    }
}

void InfraredFrameTest::olderLayout_data()
{
    QTest::addColumn<int>("variant");
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<QByteArray>("bytes");

    const QByteArray untouched = QByteArray::fromHex("A5A5A5A5A5A5A5A5A5");
    // 1128 is the sum of the block: -1131 is 95 and -1383 is 99 in eight bits.
    const QByteArray counting =
        QByteArray::fromHex("000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F");
    const QByteArray rest = QByteArray::fromHex("FFFFFFFFFFFFFFFF292A2B2C2D2E2F") + untouched;
    QTest::newRow("variant 1") << 1 << 3 << countingBytes(0, 48)
                               << QByteArray::fromHex("5555C3EA03") + counting + '\x95' + rest;
    QTest::newRow("variant 0") << 0 << 255 << countingBytes(0, 48)
                               << QByteArray::fromHex("5555C3EAFF") + counting + '\x99' + rest;
    QTest::newRow("variant 3, zeros")
        << 3 << 0 << QByteArray(48, '\0')
        << QByteArray::fromHex("5555C3EA00") + QByteArray(33, '\0') +
               QByteArray::fromHex("FFFFFFFFFFFFFFFF00000000000000") + untouched;
}

void InfraredFrameTest::olderLayout()
{
    QFETCH(int, variant);
    QFETCH(int, number);
    QFETCH(QByteArray, block);
    QFETCH(QByteArray, bytes);
    QCOMPARE(bytes.size(), 62);
    QCOMPARE(builtFrame(variant, number, block).toHex(), bytes.toHex());
}

void InfraredFrameTest::numbering()
{
    std::vector<int> numbers;
    std::uint8_t number = 0;
    for (int frame = 0; frame < 513; ++frame) {
        numbers.push_back(number);
        number = infrared::nextNumber(number);
    }
    for (std::size_t frame = 0; frame <= 255; ++frame)
        QCOMPARE(numbers[frame], static_cast<int>(frame));
    QCOMPARE(numbers[256], 1);
    QCOMPARE(numbers[257], 2);
    QCOMPARE(numbers[510], 255);
    QCOMPARE(numbers[511], 1);
    QCOMPARE(std::count(numbers.begin(), numbers.end(), 0), 1);
}

QTEST_GUILESS_MAIN(InfraredFrameTest)
#include "tst_infraredframe.moc"
