// SPDX-License-Identifier: MIT
#include "modbus/frames.h"
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"

#include <algorithm>

/// Modbus frames against literal bytes.
class FramesTest : public TestCase
{
    Q_OBJECT

private slots:
    void writeFileRecord_data();
    void writeFileRecord();
    void longestWriteFileRecordFitsWithItsCrc();
    void readDeviceId();
    void crcMatchesOnlyBothBytes_data();
    void crcMatchesOnlyBothBytes();
    void completeRecordEcho_data();
    void completeRecordEcho();
    void highByteCountNeverCompletes();
    void exceptionBit();
    void exceptionText_data();
    void exceptionText();
    void dump_data();
    void dump();
};

void FramesTest::writeFileRecord_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("file");
    QTest::addColumn<int>("record");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("header");

    QTest::newRow("first chunk of an image")
        << 1 << 0 << 0 << countingBytes(0, 32) << QByteArray::fromHex("01152706000000000010");
    QTest::newRow("record above 255")
        << 80 << 0 << 0x1234 << countingBytes(0x80, 32) << QByteArray::fromHex("50152706000012340010");
    QTest::newRow("last record") << 255 << 0 << 0xFFFF << countingBytes(0, 32)
                                 << QByteArray::fromHex("FF15270600 00FFFF0010");
    QTest::newRow("file number") << 1 << 0xABCD << 1 << countingBytes(0, 32)
                                 << QByteArray::fromHex("01152706ABCD00010010");
    QTest::newRow("one register") << 1 << 0 << 2 << QByteArray::fromHex("BEEF")
                                  << QByteArray::fromHex("01150906000000020001");
    QTest::newRow("no data") << 1 << 0 << 3 << QByteArray() << QByteArray::fromHex("01150706000000030000");
    QTest::newRow("most data") << 1 << 0 << 4 << countingBytes(0, 244)
                               << QByteArray::fromHex("0115FB0600000004007A");
    QTest::newRow("broadcast") << 0 << 0 << 0 << QByteArray::fromHex("0102")
                               << QByteArray::fromHex("00150906000000000001");
}

void FramesTest::writeFileRecord()
{
    QFETCH(int, address);
    QFETCH(int, file);
    QFETCH(int, record);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, header);

    rtu::FrameBuffer frame;
    frame.fill(0xA5);
    const int length =
        rtu::buildWriteFileRecord(frame, static_cast<std::uint8_t>(address), static_cast<std::uint16_t>(file),
                                  static_cast<std::uint16_t>(record), byteView(data));
    QCOMPARE(length, 10 + static_cast<int>(data.size()));
    QByteArray expected = header + data;
    expected.resize(static_cast<qsizetype>(frame.size()));
    std::fill(expected.begin() + length, expected.end(), '\xA5');
    QCOMPARE(byteArray(frame).toHex(), expected.toHex());
}

void FramesTest::longestWriteFileRecordFitsWithItsCrc()
{
    rtu::FrameBuffer frame{};
    const QByteArray data(rtu::MaxRecordDataSize, 'x');
    QCOMPARE(rtu::buildWriteFileRecord(frame, 1, 0, 0, byteView(data)) + rtu::CrcSize, 256);
}

void FramesTest::readDeviceId()
{
    rtu::FrameBuffer frame;
    frame.fill(0xA5);
    QCOMPARE(rtu::buildReadDeviceId(frame, 0x50, 0x04, 0x02), 5);
    QCOMPARE(byteArray(frame).left(7).toHex(), QByteArray("502b0e0402a5a5"));
}

void FramesTest::crcMatchesOnlyBothBytes_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("matches");

    QTest::newRow("good") << QByteArray::fromHex("01030000000AC5CD") << true;
    QTest::newRow("high byte first") << QByteArray::fromHex("01030000000ACDC5") << false;
    QTest::newRow("low byte wrong") << QByteArray::fromHex("01030000000AC4CD") << false;
    QTest::newRow("high byte wrong") << QByteArray::fromHex("01030000000AC5CC") << false;
    QTest::newRow("data wrong") << QByteArray::fromHex("01030000000BC5CD") << false;
    QTest::newRow("over one byte") << QByteArray::fromHex("00BF40") << true;
    QTest::newRow("over no byte") << QByteArray::fromHex("FFFF") << true;
    QTest::newRow("over no byte, wrong") << QByteArray::fromHex("0000") << false;
}

void FramesTest::crcMatchesOnlyBothBytes()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, matches);
    QCOMPARE(rtu::crcMatches(byteView(frame)), matches);
}

void FramesTest::completeRecordEcho_data()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("complete");

    const QByteArray chunk = QByteArray::fromHex("011527");
    QTest::newRow("one byte short") << chunk << 43 << false;
    QTest::newRow("complete") << chunk << 44 << true;
    QTest::newRow("one byte too many") << chunk << 45 << false;
    QTest::newRow("another function") << QByteArray::fromHex("011427") << 44 << false;
    QTest::newRow("exception to it") << QByteArray::fromHex("019527") << 44 << false;
    QTest::newRow("largest byte count") << QByteArray::fromHex("01157F") << 132 << true;
    QTest::newRow("byte count 0") << QByteArray::fromHex("011500") << 5 << true;
    QTest::newRow("nothing") << QByteArray() << 0 << false;
    QTest::newRow("address only") << QByteArray::fromHex("01") << 1 << false;
    QTest::newRow("too few to hold a byte count") << QByteArray::fromHex("0115") << 2 << false;
    QTest::newRow("too few to believe the byte count") << QByteArray::fromHex("0115FE") << 3 << false;
}

void FramesTest::completeRecordEcho()
{
    QFETCH(QByteArray, begin);
    QFETCH(int, size);
    QFETCH(bool, complete);
    begin.resize(size, '\0');
    QCOMPARE(rtu::isCompleteRecordEcho(byteView(begin)), complete);
}

void FramesTest::highByteCountNeverCompletes()
{
    rtu::FrameBuffer frame{1, rtu::WriteFileRecordFunction};
    for (int count = 0x80; count <= 0xFF; ++count) {
        frame[2] = static_cast<std::uint8_t>(count);
        for (std::size_t size = 3; size <= frame.size(); ++size)
            QVERIFY2(!rtu::isCompleteRecordEcho(std::span(frame).first(size)),
                     qPrintable(QString::number(count)));
    }
}

void FramesTest::exceptionBit()
{
    QVERIFY(rtu::isException(byteView(QByteArray::fromHex("019502"))));
    QVERIFY(rtu::isException(byteView(QByteArray::fromHex("0180"))));
    QVERIFY(!rtu::isException(byteView(QByteArray::fromHex("8115"))));
    QVERIFY(!rtu::isException(byteView(QByteArray::fromHex("017F"))));
}

void FramesTest::exceptionText_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");

    QTest::newRow("0") << 0 << QStringLiteral("0 - Unknown");
    QTest::newRow("1") << 1 << QStringLiteral("Illegal Function");
    QTest::newRow("2") << 2 << QStringLiteral("Illegal Data Address");
    QTest::newRow("3") << 3 << QStringLiteral("Illegal Data Value");
    QTest::newRow("4") << 4 << QStringLiteral("Slave Device Failure");
    QTest::newRow("5") << 5 << QStringLiteral("5 - Unknown");
    QTest::newRow("0B") << 0x0B << QStringLiteral("11 - Unknown");
    QTest::newRow("FF") << 0xFF << QStringLiteral("255 - Unknown");
}

void FramesTest::exceptionText()
{
    QFETCH(int, code);
    QTEST(rtu::exceptionText(static_cast<std::uint8_t>(code)), "text");
}

void FramesTest::dump_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("text");

    QTest::newRow("0") << 0 << QString();
    QTest::newRow("1") << 1 << QStringLiteral("F0|");
    QTest::newRow("2") << 2 << QStringLiteral("F0|F1|");
    QTest::newRow("3") << 3 << QStringLiteral("F0|F1|F2 ");
    QTest::newRow("4") << 4 << QStringLiteral("F0|F1|F2_F3 ");
    QTest::newRow("16") << 16 << QStringLiteral("F0|F1|F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE_FF \n    ");
    QTest::newRow("17") << 17 << QStringLiteral("F0|F1|F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF_\n    00 ");
    QTest::newRow("18") << 18
                        << QStringLiteral("F0|F1|F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF \n    00_01 ");
    QTest::newRow("20") << 20
                        << QStringLiteral("F0|F1|F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF \n"
                                          "    00 01 02_03 ");
    QTest::newRow("33") << 33
                        << QStringLiteral("F0|F1|F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF \n"
                                          "    00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F_\n"
                                          "    10 ");
}

void FramesTest::dump()
{
    QFETCH(int, size);
    QFETCH(QString, text);
    const QByteArray frame = countingBytes(0xF0, size);
    QCOMPARE(rtu::dumpText(rtu::FrameDirection::Sent, byteView(frame)), QStringLiteral("--> ") + text);
    QCOMPARE(rtu::dumpText(rtu::FrameDirection::Received, byteView(frame)), QStringLiteral("<-- ") + text);
}

QTEST_GUILESS_MAIN(FramesTest)
#include "tst_frames.moc"
