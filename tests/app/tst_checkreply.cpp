// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

namespace {

const QString CheckReply = QStringLiteral("check_reply");
const QString NoEcho = QStringLiteral("The panel's reply to record 2 is not the echo of the request");

} // namespace

/// Replies that are no echo of their request, with the key check_reply and without.
class CheckReplyTest : public TestCase
{
    Q_OBJECT

private slots:
    void overASerialPort_data();
    void overASerialPort();
    void throughTheAdapter_data();
    void throughTheAdapter();
    void otherFailuresStay_data();
    void otherFailuresStay();
    void aBroadcastHasNoReplyToCheck();
    void bytesBehindTheEcho();

private:
    static void addReplies();
};

/// Rows of the panel's misbehaviour, the option's value (null for none), and the run's result.
void CheckReplyTest::addReplies()
{
    QTest::addColumn<bool>("echoBefore");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("result");
    const QString on = QStringLiteral("true");
    QTest::newRow("good, off") << false << QString() << 0;
    QTest::newRow("good, on") << false << on << 0;
    QTest::newRow("late, off") << true << QString() << 0;
    QTest::newRow("late, on") << true << on << int{MB_NO_ECHO};
    QTest::newRow("late, refused value") << true << QStringLiteral("1") << 0;
    QTest::newRow("late, empty value") << true << QStringLiteral("") << 0;
}

void CheckReplyTest::overASerialPort_data()
{
    addReplies();
}

void CheckReplyTest::overASerialPort()
{
    QFETCH(const bool, echoBefore);
    QFETCH(const QString, value);
    QFETCH(const int, result);
    const QByteArray image = makeBytes(320);
    const QStringList misbehaviour{QStringLiteral("--echo-before"), QStringLiteral("--from-record"),
                                   QStringLiteral("2")};
    Upload upload(echoBefore ? misbehaviour : QStringList(),
                  value.isNull() ? QVariantMap() : QVariantMap{{CheckReply, value}});
    QCOMPARE(upload.run(image), result);
    const bool failed = result != 0;
    QCOMPARE(upload.boxes.informativeTexts(), failed ? QStringList(NoEcho) : QStringList());
    QCOMPARE(upload.log.count(NoEcho), failed ? 1 : 0);
    QCOMPARE(upload.panel.image(), failed ? image.left(3 * ChunkSize) : image);
    QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), failed ? 3 : 10);
    verifySessionEnded(upload.bench, !failed);
}

void CheckReplyTest::throughTheAdapter_data()
{
    addReplies();
}

void CheckReplyTest::throughTheAdapter()
{
    QFETCH(const bool, echoBefore);
    QFETCH(const QString, value);
    QFETCH(const int, result);
    const QByteArray image = makeBytes(320);
    SimulatedAdapter adapter;
    if (echoBefore)
        adapter.set("RS", "echo-before,from-record=2");
    WindowBench bench(adapter);
    if (!value.isNull())
        bench.settings.setValue(QStringLiteral("options/check_reply"), value);
    bench.start(ModbusText, image);
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), result);
    QTRY_COMPARE(boxes.informativeTexts(), result != 0 ? QStringList(NoEcho) : QStringList());
    QCOMPARE(adapter.modbusImage(), result != 0 ? image.left(3 * ChunkSize) : image);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
    verifySessionEnded(bench, result == 0);
}

void CheckReplyTest::otherFailuresStay_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("errors");
    const auto text = [](const char *error) { return QStringList(QString::fromLatin1(error)); };
    QTest::newRow("exception") << QStringLiteral("--exception 2") << 40
                               << text("Modbus Exception: Illegal Data Address");
    QTest::newRow("CRC") << QStringLiteral("--echo-before --flip-crc") << 104 << text("CRC error");
    QTest::newRow("short") << QStringLiteral("--cut 2") << 32 << text("Frame incomplete (sz=2)\n");
    QTest::newRow("too long") << QStringLiteral("--oversize 400") << 27 << QStringList();
}

void CheckReplyTest::otherFailuresStay()
{
    QFETCH(const QString, arguments);
    Upload upload((arguments + QStringLiteral(" --from-record 2")).split(u' '), {{CheckReply, true}});
    QTEST(upload.run(makeBytes(320)), "result");
    QTEST(upload.boxes.informativeTexts(), "errors");
}

void CheckReplyTest::aBroadcastHasNoReplyToCheck()
{
    Upload upload({}, {{CheckReply, true}});
    upload.bench.probe().setDeviceAddress(0);
    QCOMPARE(upload.run(makeBytes(64)), 0);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}

// Over the serial port the echo ends at its length; what follows it is no part of this reply.
void CheckReplyTest::bytesBehindTheEcho()
{
    const QByteArray image = makeBytes(32);
    Upload upload({QStringLiteral("--trailing"), QStringLiteral("2")}, {{CheckReply, true}});
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.panel.image(), image);
}

QTEST_MAIN(CheckReplyTest)
#include "tst_checkreply.moc"
