// SPDX-License-Identifier: MIT
#include "modbus/crc16.h"
#include "modbus/modbus.h"
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"

#include <array>

/// The checksum of the Modbus link against values that others published.
class Crc16Test : public TestCase
{
    Q_OBJECT

private slots:
    void checksum_data();
    void checksum();
    void appendPutsTheLowByteFirst_data();
    void appendPutsTheLowByteFirst();
    void appendLeavesWhatLiesBehindAlone();
};

void Crc16Test::checksum_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("crc");

    QTest::newRow("no bytes") << QByteArray() << 0xFFFF;
    QTest::newRow("check value of the CRC catalogue") << QByteArray("123456789") << 0x4B37;
    QTest::newRow("one zero byte") << QByteArray(1, '\0') << 0x40BF;
    QTest::newRow("one byte FF") << QByteArray("\xFF") << 0x00FF;
    QTest::newRow("serial line guide") << QByteArray::fromHex("0207") << 0x1241;
    QTest::newRow("read holding registers") << QByteArray::fromHex("01030000000A") << 0xCDC5;
    QTest::newRow("read coils") << QByteArray::fromHex("110100130025") << 0x840E;
}

void Crc16Test::checksum()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, crc);
    QCOMPARE(int{rtu::crc16(byteView(bytes))}, crc);
}

void Crc16Test::appendPutsTheLowByteFirst_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("withCrc");

    QTest::newRow("no bytes") << QByteArray() << QByteArray::fromHex("FFFF");
    QTest::newRow("read holding registers")
        << QByteArray::fromHex("01030000000A") << QByteArray::fromHex("01030000000AC5CD");
    QTest::newRow("read input registers")
        << QByteArray::fromHex("010400000001") << QByteArray::fromHex("01040000000131CA");
}

void Crc16Test::appendPutsTheLowByteFirst()
{
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, withCrc);
    qint32 length = static_cast<qint32>(frame.size());
    frame.resize(frame.size() + 2);
    Modbus::crcAppend(reinterpret_cast<std::uint8_t *>(frame.data()), length);
    QCOMPARE(length, static_cast<qint32>(withCrc.size()));
    QCOMPARE(frame.toHex(), withCrc.toHex());
}

void Crc16Test::appendLeavesWhatLiesBehindAlone()
{
    std::array<std::uint8_t, 5> frame{0x02, 0x07, 0xAA, 0xAA, 0xAA};
    qint32 length = 2;
    Modbus::crcAppend(frame.data(), length);
    QCOMPARE(frame, (std::array<std::uint8_t, 5>{0x02, 0x07, 0x41, 0x12, 0xAA}));
}

QTEST_GUILESS_MAIN(Crc16Test)
#include "tst_crc16.moc"
