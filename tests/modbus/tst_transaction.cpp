// SPDX-License-Identifier: MIT
#include "tests/modbus/seriallink.h"
#include "tests/support/outputcapture.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>

/// How a transaction judges its reply, over a serial line.
class TransactionTest : public TestCase
{
    Q_OBJECT

private slots:
    void replyIsJudged_data();
    void replyIsJudged();
    void recordReachesThePanel();
    void frameOnTheWire();
    void echoIsNotCompared();
    void threeByteReplyIsCheckedOverItsFirstByte_data();
    void threeByteReplyIsCheckedOverItsFirstByte();
    void traceFlagDumpsBothFrames();
    void replyIsDumpedBeforeItsError_data();
    void replyIsDumpedBeforeItsError();
    void broadcastPausesAndSucceeds();
    void broadcastIsTakenInSilence();
    void broadcastDoesNotLookAtAReply();
    void readDeviceIdPrintsTheIdentity();
    void readDeviceIdPrintsNothingOnFailure();
    void readDeviceIdPrintsNothingForABroadcast();
    void aShortIdentityBehindALongerOne();
    void anythingButTheEchoIsRefusedOnRequest_data();
    void anythingButTheEchoIsRefusedOnRequest();
    void everyByteOfTheEchoCounts();
};

namespace {

const QByteArray FirstChunk = QByteArray::fromHex("01152706000000000010"
                                                  "000102030405060708090A0B0C0D0E0F"
                                                  "101112131415161718191A1B1C1D1E1F"
                                                  "1F71");

} // namespace

void TransactionTest::replyIsJudged_data()
{
    QTest::addColumn<QString>("misbehaviour");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *misbehaviour, int result, const char *text = "") {
        QTest::newRow(*misbehaviour != '\0' ? misbehaviour : "good reply")
            << QString::fromLatin1(misbehaviour) << result << QString::fromLatin1(text);
    };
    row("", 0);
    row("--exception 1", 40, "Modbus Exception: Illegal Function");
    row("--exception 2", 40, "Modbus Exception: Illegal Data Address");
    row("--exception 3", 40, "Modbus Exception: Illegal Data Value");
    row("--exception 4", 40, "Modbus Exception: Slave Device Failure");
    row("--exception 0x0B", 40, "Modbus Exception: 11 - Unknown");
    row("--exception 2 --flip-crc", 104, "CRC error");
    row("--flip-crc", 104, "CRC error");
    row("--flip-crc-low", 104, "CRC error");
    row("--flip-crc-high", 104, "CRC error");
    row("--cut 1", 32, "Frame incomplete (sz=1)\n");
    row("--cut 2", 32, "Frame incomplete (sz=2)\n");
    row("--cut 3", 104, "CRC error");
    row("--cut 10", 104, "CRC error");
    row("--cut 43", 104, "CRC error");
}

void TransactionTest::replyIsJudged()
{
    QFETCH(QString, misbehaviour);
    QFETCH(int, result);
    QFETCH(QString, text);

    PanelProcess panel(misbehaviour.split(u' ', Qt::SkipEmptyParts));
    SerialLink link(panel.path());
    QCOMPARE(link.writeChunk(), result);
    QStringList expected{ChunkWritten};
    if (!text.isEmpty())
        expected += QStringLiteral("error: ") + text;
    QCOMPARE(link.events.take(), expected);
}

void TransactionTest::recordReachesThePanel()
{
    PanelProcess panel;
    SerialLink link(panel.path());
    QCOMPARE(link.writeChunk(80, 0), 0);
    QCOMPARE(link.writeChunk(80, 1), 0);
    QCOMPARE(panel.image(), countingBytes(0, 32) + countingBytes(0, 32));
    const QMap<QString, int> counts = panel.finish();
    QCOMPARE(counts.value(QStringLiteral("records")), 2);
    QCOMPARE(counts.value(QStringLiteral("requests")), 2);
}

void TransactionTest::frameOnTheWire()
{
    Pty pty;
    SerialLink link(pty.path());
    pty.answer(FirstChunk);
    QCOMPARE(link.writeChunk(1), 0);
    QCOMPARE(pty.take().toHex(), FirstChunk.toHex());
}

void TransactionTest::echoIsNotCompared()
{
    Pty pty;
    SerialLink link(pty.path());
    pty.answer(QByteArray::fromHex("01030000000AC5CD")); // neither its address nor its function
    QCOMPARE(link.writeChunk(80), 0);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten});
}

void TransactionTest::threeByteReplyIsCheckedOverItsFirstByte_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("errors");

    // The CRC's low byte stands where the function code would be.
    QTest::newRow("good") << QByteArray::fromHex("023E81") << 0 << QStringList();
    QTest::newRow("low byte wrong") << QByteArray::fromHex("023F81") << 104
                                    << QStringList{QStringLiteral("error: CRC error")};
    QTest::newRow("high byte wrong") << QByteArray::fromHex("023E80") << 104
                                     << QStringList{QStringLiteral("error: CRC error")};
    QTest::newRow("good, with the exception bit")
        << QByteArray::fromHex("00BF40") << 40
        << QStringList{QStringLiteral("error: Modbus Exception: 64 - Unknown")};
}

void TransactionTest::threeByteReplyIsCheckedOverItsFirstByte()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, result);
    QFETCH(QStringList, errors);
    Pty pty;
    SerialLink link(pty.path());
    pty.answer(reply);
    QCOMPARE(link.writeChunk(), result);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten} + errors);
}

void TransactionTest::traceFlagDumpsBothFrames()
{
    const QString dump = QStringLiteral("01|15|27 06 00 00 00 00 00 10 00 01 02 03 04 05 \n"
                                        "    06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 \n"
                                        "    16 17 18 19 1A 1B 1C 1D 1E 1F 1F_71 ");
    Pty pty;
    SerialLink link(pty.path());
    link.modbus.setTraceFlag(-1);
    pty.answer(FirstChunk);
    QCOMPARE(link.writeChunk(1), 0);
    QCOMPARE(link.events.take(), (QStringList{QStringLiteral("info: --> ") + dump, ChunkWritten,
                                              QStringLiteral("info: <-- ") + dump}));
    link.modbus.setTraceFlag(0);
    pty.answer(FirstChunk);
    QCOMPARE(link.writeChunk(1), 0);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten});
}

void TransactionTest::replyIsDumpedBeforeItsError_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("dump");
    QTest::addColumn<QString>("error");

    QTest::newRow("one byte") << QByteArray::fromHex("01") << QStringLiteral("01|")
                              << QStringLiteral("Frame incomplete (sz=1)\n");
    QTest::newRow("wrong CRC") << QByteArray::fromHex("0195020000") << QStringLiteral("01|95|02 00_00 ")
                               << QStringLiteral("CRC error");
    QTest::newRow("exception") << QByteArray::fromHex("5095029F40") << QStringLiteral("50|95|02 9F_40 ")
                               << QStringLiteral("Modbus Exception: Illegal Data Address");
}

void TransactionTest::replyIsDumpedBeforeItsError()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, dump);
    QFETCH(QString, error);
    Pty pty;
    SerialLink link(pty.path());
    link.modbus.setTraceFlag(1);
    pty.answer(reply);
    link.writeChunk(1);
    QCOMPARE(link.events.take().mid(1), (QStringList{ChunkWritten, QStringLiteral("info: <-- ") + dump,
                                                     QStringLiteral("error: ") + error}));
}

void TransactionTest::broadcastPausesAndSucceeds()
{
    Pty pty;
    SerialLink link(pty.path());
    link.modbus.setBroadcastDelay(300);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(0), 0);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 350 && elapsed < 5000, qPrintable(QString::number(elapsed)));
    QCOMPARE(link.events.take(), QStringList());
}

void TransactionTest::broadcastIsTakenInSilence()
{
    PanelProcess panel;
    SerialLink link(panel.path());
    QCOMPARE(link.writeChunk(0), 0);
    QVERIFY(panel.waitForRecords(1));
    QCOMPARE(panel.image(), countingBytes(0, 32));
    QCOMPARE(panel.finish().value(QStringLiteral("broadcasts")), 1);
}

void TransactionTest::broadcastDoesNotLookAtAReply()
{
    Pty pty;
    SerialLink link(pty.path());
    link.modbus.setTraceFlag(1);
    pty.send(QByteArray::fromHex("0195020000"));
    QCOMPARE(link.writeChunk(0), 0);
    const QStringList events = link.events.take();
    QCOMPARE(events.size(), 1);
    QVERIFY(events.constFirst().startsWith(QStringLiteral("info: --> 00|15|27 ")));
}

void TransactionTest::readDeviceIdPrintsTheIdentity()
{
    PanelProcess panel;
    SerialLink link(panel.path());
    OutputCapture output;
    const qint32 result = link.modbus.readDeviceId(nullptr, 80, 1, 0);
    const QByteArray text = output.finish();
    QCOMPARE(result, 0);
    QCOMPARE(text, QByteArray("Address:080(0x50)\n"
                              "   Vendor        : Norvantic\n"
                              "   Product Code  : ZEPHYRIN\n"
                              "   Version       : 1.0\n"));
    QCOMPARE(link.events.take(), QStringList{QStringLiteral("debug: 7 bytes written...")});
}

void TransactionTest::readDeviceIdPrintsNothingOnFailure()
{
    PanelProcess panel;
    SerialLink link(panel.path());
    OutputCapture output;
    const qint32 result = link.modbus.readDeviceId(nullptr, 80, 4, 9);
    const QByteArray text = output.finish();
    QCOMPARE(result, 40);
    QCOMPARE(text, QByteArray());
    QCOMPARE(link.events.take().constLast(), QStringLiteral("error: Modbus Exception: Illegal Data Address"));
}

void TransactionTest::readDeviceIdPrintsNothingForABroadcast()
{
    Pty pty;
    SerialLink link(pty.path());
    OutputCapture output;
    const qint32 result = link.modbus.readDeviceId(nullptr, 0, 1, 0);
    const QByteArray text = output.finish();
    QCOMPARE(result, 0);
    QCOMPARE(text, QByteArray());
    QCOMPARE(pty.take().toHex().left(10), QByteArray("002b0e0100"));
}

// A reply may count more objects than it holds: here the third is made of its CRC, 55 00, and the others lie
// behind it, where zeros are read and nothing of the reply before.
void TransactionTest::aShortIdentityBehindALongerOne()
{
    Pty pty;
    SerialLink link(pty.path());
    const auto identity = [&](const QByteArray &reply) {
        pty.take();
        pty.answer(withCrc(reply));
        OutputCapture output;
        return link.modbus.readDeviceId(nullptr, 80, 1, 0) == 0 ? output.finish() : QByteArray();
    };
    const QByteArray header = QByteArray::fromHex("502B0E01810000");
    QVERIFY(identity(header + QByteArray("\x03\x00\x09Norvantic\x01\x08ZEPHYRIN\x02\x03"
                                         "1.0",
                                         27))
                .contains("ZEPHYRIN"));
    QCOMPARE(identity(header + QByteArray("\x05\x01\x04ZEP$\x02\x03"
                                          "0.0",
                                          12)),
             QByteArray("Address:080(0x50)\n"
                        "   Product Code  : ZEP$\n"
                        "   Version       : 0.0\n"
                        "\n"
                        "   Vendor        : \n"
                        "   Vendor        : \n"));
}

void TransactionTest::anythingButTheEchoIsRefusedOnRequest_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("isEcho");

    const QByteArray small = countingBytes(0, 32);
    const QByteArray large = countingBytes(0, 128); // its echo has no end by its byte count
    const QByteArray other = countingBytes(1, 32);
    QTest::newRow("echo") << small << requestWith(small) << true;
    QTest::newRow("echo, large") << large << requestWith(large) << true;
    QTest::newRow("other data") << small << requestWith(other) << false;
    QTest::newRow("beginning of it, with a CRC") << small << withCrc(requestWith(small).left(20)) << false;
    // A frame, its CRC and two zero bytes have a good CRC again.
    QTest::newRow("two zero bytes behind it") << large << requestWith(large) + QByteArray(2, '\0') << false;
    QTest::newRow("another function") << small << QByteArray::fromHex("01030000000AC5CD") << false;
}

void TransactionTest::anythingButTheEchoIsRefusedOnRequest()
{
    QFETCH(const QByteArray, data);
    QFETCH(const QByteArray, reply);
    QFETCH(const bool, isEcho);
    const QString text =
        QStringLiteral("error: The panel's reply to record 0 is not the echo of the request");
    for (const bool checked : {false, true}) {
        Pty pty;
        SerialLink link(pty.path());
        link.modbus.setReplyChecked(checked);
        pty.answer(reply);
        const bool refused = checked && !isEcho;
        QCOMPARE(link.modbus.writeFileRecord(nullptr, 80, 0, 0, static_cast<qint32>(data.size()),
                                             byteView(data).data()),
                 refused ? int{MB_NO_ECHO} : 0);
        QCOMPARE(link.events.take().mid(1), refused ? QStringList{text} : QStringList());
    }
}

void TransactionTest::everyByteOfTheEchoCounts()
{
    const QByteArray data = countingBytes(0, 4);
    const QByteArray request = requestWith(data);
    for (qsizetype i = 0; i < request.size() - rtu::CrcSize; ++i) {
        if (i == 1 || i == 2) // another function or byte count has no such end
            continue;
        QByteArray changed = request.left(request.size() - rtu::CrcSize);
        changed[i] = static_cast<char>(changed[i] ^ 1);
        Pty pty;
        SerialLink link(pty.path());
        link.modbus.setReplyChecked(true);
        pty.answer(withCrc(changed));
        QCOMPARE(link.modbus.writeFileRecord(nullptr, 80, 0, 0, 4, byteView(data).data()), int{MB_NO_ECHO});
    }
}

QTEST_GUILESS_MAIN(TransactionTest)
#include "tst_transaction.moc"
