// SPDX-License-Identifier: MIT
#include "tests/modbus/seriallink.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>

#include <limits>

/// Requests that the link does not send, and the longest ones that it does.
class RefusedRequestsTest : public TestCase
{
    Q_OBJECT

private slots:
    void theLongestRecordIsSent();
    void refusedLengthSendsNothing_data();
    void refusedLengthSendsNothing();
    void refusedRequestSendsNothing_data();
    void refusedRequestSendsNothing();
    void theLongestRequestIsSent();
    void aNegativeBroadcastDelayIsNone();
};

void RefusedRequestsTest::theLongestRecordIsSent()
{
    const QByteArray data = countingBytes(0, rtu::MaxRecordDataSize);
    Pty pty;
    SerialLink link(pty.path());
    pty.answer(QByteArray::fromHex("01030000000AC5CD"));
    QCOMPARE(link.modbus.writeFileRecord(nullptr, 80, 0, 0, static_cast<qint32>(data.size()),
                                         byteView(data).data()),
             0);
    QCOMPARE(pty.take().toHex(), requestWith(data).toHex());
}

void RefusedRequestsTest::refusedLengthSendsNothing_data()
{
    QTest::addColumn<int>("length");

    QTest::newRow("negative") << -2;
    QTest::newRow("one register too many") << 246;
    QTest::newRow("far too many") << std::numeric_limits<int>::max();
}

void RefusedRequestsTest::refusedLengthSendsNothing()
{
    QFETCH(int, length);
    Pty pty;
    SerialLink link(pty.path());
    const std::uint8_t data = 0;
    QCOMPARE(link.modbus.writeFileRecord(nullptr, 80, 0, 0, length, &data), 1);
    QVERIFY(!pty.waitForBytes(0));
    QCOMPARE(link.events.take(), QStringList());
}

void RefusedRequestsTest::refusedRequestSendsNothing_data()
{
    QTest::addColumn<int>("length");

    QTest::newRow("negative") << -1;
    QTest::newRow("without room for the CRC") << 255;
    QTest::newRow("far too long") << std::numeric_limits<int>::max();
}

void RefusedRequestsTest::refusedRequestSendsNothing()
{
    QFETCH(const int, length);
    Pty pty;
    SerialLink link(pty.path());
    link.modbus.setTraceFlag(1);
    QCOMPARE(link.modbus.transaction(nullptr, length, 1000), int{MB_TX_FAILED});
    QCOMPARE(link.modbus.xferCom(length == 255 ? 257 : length), -MB_TX_FAILED);
    QVERIFY(!pty.waitForBytes(0));
    QCOMPARE(link.events.take(), QStringList());
}

void RefusedRequestsTest::theLongestRequestIsSent()
{
    Pty pty;
    SerialLink link(pty.path());
    // Nothing was built: the request is zeros, and so to address 0.
    QCOMPARE(link.modbus.transaction(nullptr, 254, 1000), 0);
    QCOMPARE(pty.take().toHex(), withCrc(QByteArray(254, '\0')).toHex());
}

void RefusedRequestsTest::aNegativeBroadcastDelayIsNone()
{
    Pty pty;
    SerialLink link(pty.path());
    link.modbus.setBroadcastDelay(-1);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(0), 0);
    QVERIFY(timer.elapsed() < 5000);
}

QTEST_GUILESS_MAIN(RefusedRequestsTest)
#include "tst_refusedrequests.moc"
