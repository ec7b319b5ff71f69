// SPDX-License-Identifier: MIT
#include "simulator/irreceiver.h"
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"

using simulator::IrReceiver;
using Outcome = simulator::IrReceiver::Outcome;

/// The simulated panel's infrared receiver, against literal frames: it must be right where the program is
/// wrong.
class IrReceiverTest : public TestCase
{
    Q_OBJECT

private slots:
    void checksum_data();
    void checksum();
    void copiesCountOnce();
    void damagedFrame_data();
    void damagedFrame();
    void laterCopyMakesUpForADamagedOne();
    void missingFrameIsNoticed();
    void startInTheMiddleIsNotTaken();
    void numbersGoOnWithOneBehind255();
    void frameZeroBeginsANewImage();
    void fourthCopyOfFrameZeroIsANewImage();
};

namespace {

/// A frame of 48 zero bytes; its CRC is given, so that nothing here works one out.
QByteArray frameOf(int number, const char *crc)
{
    return QByteArray::fromHex("5555C3EA") + static_cast<char>(number) + QByteArray(48, '\0') +
           QByteArray::fromHex(crc) + QByteArray(8, '\xFF');
}

QByteArray frame0()
{
    return frameOf(0, "00");
}

QByteArray frame1()
{
    return frameOf(1, "19");
}

QByteArray frame2()
{
    return frameOf(2, "32");
}

} // namespace

void IrReceiverTest::checksum_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("crc");

    QTest::newRow("no bytes") << QByteArray() << 0x00;
    QTest::newRow("check value of the CRC catalogue") << QByteArray("123456789") << 0xEA;
    QTest::newRow("number 1 and 48 zero bytes") << QByteArray(1, '\1') + QByteArray(48, '\0') << 0x19;
}

void IrReceiverTest::checksum()
{
    QFETCH(QByteArray, bytes);
    QTEST(int{simulator::irCrc(byteView(bytes))}, "crc");
}

void IrReceiverTest::copiesCountOnce()
{
    IrReceiver receiver;
    for (const QByteArray &frame : {frame0(), frame1(), frame2()}) {
        QCOMPARE(receiver.receive(byteView(frame)), Outcome::Taken);
        QCOMPARE(receiver.receive(byteView(frame)), Outcome::Duplicate);
        QCOMPARE(receiver.receive(byteView(frame)), Outcome::Duplicate);
    }
    QCOMPARE(byteArray(receiver.image()), QByteArray(3 * 48, '\0'));
    QCOMPARE(receiver.counts().frames, 9U);
    QCOMPARE(receiver.counts().good, 3U);
    QCOMPARE(receiver.counts().duplicates, 6U);
    QCOMPARE(receiver.counts().damaged, 0U);
}

void IrReceiverTest::damagedFrame_data()
{
    QTest::addColumn<QByteArray>("frame");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("one byte short") << frame0().chopped(1);
    QTest::newRow("one byte too many") << frame0() + '\xFF';
    for (const int place : {0, 1, 2, 3, 4, 5, 52, 53, 54, 61}) {
        QByteArray frame = frame0();
        frame[place] = static_cast<char>(frame.at(place) ^ 0x01);
        QTest::addRow("byte %d", place) << frame;
    }
}

void IrReceiverTest::damagedFrame()
{
    QFETCH(QByteArray, frame);
    IrReceiver receiver;
    QCOMPARE(receiver.receive(byteView(frame)), Outcome::Damaged);
    QCOMPARE(receiver.counts().damaged, 1U);
    QVERIFY(receiver.image().empty());
}

void IrReceiverTest::laterCopyMakesUpForADamagedOne()
{
    IrReceiver receiver;
    QCOMPARE(receiver.receive(byteView(frameOf(0, "01"))), Outcome::Damaged);
    QCOMPARE(receiver.receive(byteView(frame0())), Outcome::Taken);
    QCOMPARE(receiver.image().size(), 48U);
}

void IrReceiverTest::missingFrameIsNoticed()
{
    IrReceiver receiver;
    QCOMPARE(receiver.receive(byteView(frame0())), Outcome::Taken);
    QCOMPARE(receiver.receive(byteView(frame2())), Outcome::OutOfOrder);
    QCOMPARE(receiver.counts().outOfOrder, 1U);
    QCOMPARE(receiver.image().size(), 48U);
}

void IrReceiverTest::startInTheMiddleIsNotTaken()
{
    IrReceiver receiver;
    QCOMPARE(receiver.receive(byteView(frame1())), Outcome::OutOfOrder);
    QVERIFY(receiver.image().empty());
}

void IrReceiverTest::numbersGoOnWithOneBehind255()
{
    IrReceiver receiver;
    for (int number = 0; number <= 255; ++number) {
        // Found by trying: the receiver takes no frame of a wrong CRC.
        int taken = 0;
        for (int crc = 0; crc <= 0xFF; ++crc) {
            const QByteArray frame =
                frameOf(number, QByteArray(1, static_cast<char>(crc)).toHex().constData());
            taken += receiver.receive(byteView(frame)) == Outcome::Taken ? 1 : 0;
        }
        QCOMPARE(taken, 1);
    }
    QCOMPARE(receiver.receive(byteView(frame1())), Outcome::Taken);
    QCOMPARE(receiver.image().size(), 257U * 48);
}

void IrReceiverTest::frameZeroBeginsANewImage()
{
    IrReceiver receiver;
    for (const QByteArray &frame : {frame0(), frame1(), frame0()})
        QCOMPARE(receiver.receive(byteView(frame)), Outcome::Taken);
    QCOMPARE(receiver.image().size(), 48U);
}

void IrReceiverTest::fourthCopyOfFrameZeroIsANewImage()
{
    IrReceiver receiver;
    for (int copy = 0; copy < 3; ++copy)
        receiver.receive(byteView(frame0()));
    QCOMPARE(receiver.receive(byteView(frame0())), Outcome::Taken);
    QCOMPARE(receiver.image().size(), 48U);
}

QTEST_GUILESS_MAIN(IrReceiverTest)
#include "tst_irreceiver.moc"
