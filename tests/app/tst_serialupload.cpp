// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QProgressBar>

namespace {

const QString TimeoutText = QStringLiteral("modbus_RTU_COM: rx timeout");

} // namespace

/// Uploads by Modbus over a serial port, from the press on the button to the panel.
class SerialUploadTest : public TestCase
{
    Q_OBJECT

private slots:
    void images_data();
    void images();
    void aPortOfTheMenuIsUsed();
    void twoUploadsInARow();

    void aPanelThatFails_data();
    void aPanelThatFails();
    void aPanelThatHangsUp();
    void noAnswer_data();
    void noAnswer();
    void theBroadcastAddressNeedsNoAnswer();

    void stoppingHalfWay();
    void aChangedAddressIsForTheNextRun();

    void aConnectionTypeThatIsNone();
    void anUpdateThroughTheAdapterThenOneOverASerialPort();
};

void SerialUploadTest::images_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 31, 32, 33, 64, 95, 96, 100, 8192})
        QTest::addRow("%d bytes", size) << size;
}

void SerialUploadTest::images()
{
    QFETCH(const int, size);
    const QByteArray image = makeBytes(size);
    Upload upload;
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.lines(), signalsFor(size));
    QCOMPARE(upload.panel.image(), received(image));
    const QMap<QString, int> counts = upload.panel.finish();
    QCOMPARE(counts.value(QStringLiteral("requests")), (size + ChunkSize - 1) / ChunkSize);
    QCOMPARE(counts.value(QStringLiteral("records")), (size + ChunkSize - 1) / ChunkSize);
    QVERIFY(upload.boxes.contents().isEmpty());
    QCOMPARE(upload.log.count(CanceledText), 0);
    verifySessionEnded(upload.bench, size >= ChunkSize);
}

void SerialUploadTest::aPortOfTheMenuIsUsed()
{
    const QByteArray image = makeBytes(100);
    PanelProcess panel;
    WindowBench bench;
    bench.devices.addSerialPort(panel.path(), QStringLiteral("Converter"), 0x0403);
    bench.start(panel.path(), image);
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(panel.image(), image);
}

void SerialUploadTest::twoUploadsInARow()
{
    Upload upload;
    QCOMPARE(upload.run(makeBytes(200)), 0);
    QCOMPARE(upload.run(makeBytes(70)), 0);
    QCOMPARE(upload.lines(), signalsFor(70));
    QCOMPARE(upload.panel.image(), makeBytes(70));
}

void SerialUploadTest::aPanelThatFails_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("error"); // null: none is shown
    const auto row = [](const char *name, const char *arguments, int result, const char *error) {
        QTest::newRow(name) << QString::fromLatin1(arguments).split(u' ') << result
                            << QString::fromLatin1(error);
    };
    row("illegal function", "--exception 1", 40, "Modbus Exception: Illegal Function");
    row("illegal address", "--exception 2", 40, "Modbus Exception: Illegal Data Address");
    row("illegal value", "--exception 3", 40, "Modbus Exception: Illegal Data Value");
    row("device failure", "--exception 4", 40, "Modbus Exception: Slave Device Failure");
    row("unknown exception", "--exception 11", 40, "Modbus Exception: 11 - Unknown");
    row("CRC wrong", "--flip-crc", 104, "CRC error");
    row("CRC low byte wrong", "--flip-crc-low", 104, "CRC error");
    row("CRC high byte wrong", "--flip-crc-high", 104, "CRC error");
    row("one byte", "--cut 1", 32, "Frame incomplete (sz=1)\n");
    row("two bytes", "--cut 2", 32, "Frame incomplete (sz=2)\n");
    row("three bytes", "--cut 3", 104, "CRC error");
    row("one byte short", "--cut 43", 104, "CRC error");
    row("in two halves", "--split 20 --split-gap-ms 500", 104, "CRC error");
    row("too long", "--oversize 400", 27, nullptr);
}

void SerialUploadTest::aPanelThatFails()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, error);
    const QByteArray image = makeBytes(320);
    Upload upload(QStringList{QStringLiteral("--from-record"), QStringLiteral("4")} + arguments);
    const int result = upload.run(image);
    QTEST(result, "result");
    QCOMPARE(upload.lines(),
             QStringList({QStringLiteral("load_start 0 10"), QStringLiteral("load_progress 3")}));
    QTRY_COMPARE(upload.boxes.informativeTexts(), error.isNull() ? QStringList() : QStringList({error}));
    QCOMPARE(upload.log.count(QStringLiteral("RX buffer overflow")), result == 27 ? 1 : 0);
    QCOMPARE(upload.log.count(CanceledText), 0);
    QCOMPARE(upload.panel.image().left(4 * ChunkSize), image.left(4 * ChunkSize));
    QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 5);
    verifySessionEnded(upload.bench, false);
}

void SerialUploadTest::aPanelThatHangsUp()
{
    Upload upload({QStringLiteral("--from-record"), QStringLiteral("2"), QStringLiteral("--hang-up")});
    upload.begin(makeBytes(320));
    QVERIFY(upload.panel.waitForRecords(2));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(upload.finish(), 138);
    QVERIFY2(timer.elapsed() < 5000, "the wait for the reply was not cut short");
    QCOMPARE(upload.log.count(TimeoutText), 1);
    QVERIFY(upload.boxes.contents().isEmpty());
    verifySessionEnded(upload.bench, false);
}

void SerialUploadTest::noAnswer_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("requests");
    QTest::newRow("silent panel") << QStringList{QStringLiteral("--from-record"), QStringLiteral("1"),
                                                 QStringLiteral("--silent")}
                                  << 2;
    QTest::newRow("another address") << QStringList{QStringLiteral("--address"), QStringLiteral("81")} << 1;
}

void SerialUploadTest::noAnswer()
{
    constexpr int ReplyTimeoutMs = 10000;
    QFETCH(const QStringList, arguments);
    Upload upload(arguments);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(upload.run(makeBytes(320)), 138);
    QVERIFY2(timer.elapsed() >= ReplyTimeoutMs, "the panel had less time to answer than it may take");
    QCOMPARE(upload.lines(), QStringList({QStringLiteral("load_start 0 10")}));
    QCOMPARE(upload.log.count(TimeoutText), 1);
    QVERIFY(upload.boxes.contents().isEmpty());
    QTEST(upload.panel.finish().value(QStringLiteral("requests")), "requests");
    verifySessionEnded(upload.bench, false);
}

void SerialUploadTest::theBroadcastAddressNeedsNoAnswer()
{
    const QByteArray image = makeBytes(100);
    Upload upload;
    upload.bench.probe().setDeviceAddress(0);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(upload.run(image), 0);
    QVERIFY2(timer.elapsed() >= 4 * (50 + 100), "the panels had less time than they need after a broadcast");
    QCOMPARE(upload.lines(), signalsFor(100));
    QTRY_COMPARE(upload.panel.image(), image);
    QCOMPARE(upload.panel.finish().value(QStringLiteral("broadcasts")), 4);
    verifySessionEnded(upload.bench, true);
}

void SerialUploadTest::stoppingHalfWay()
{
    const QByteArray image = makeBytes(200 * ChunkSize);
    Upload upload;
    upload.begin(image);
    QTRY_VERIFY(upload.lines().size() >= 3);
    upload.bench.press();
    QCOMPARE(upload.bench.widget<QProgressBar>("progressBar")->value(), 0);
    QCOMPARE(upload.finish(), -1);
    QVERIFY(upload.boxes.contents().isEmpty());
    QCOMPARE(upload.log.count(CanceledText), 1);
    const QByteArray stored = upload.panel.image();
    QVERIFY(stored.size() >= 6 * ChunkSize);
    QVERIFY(stored.size() < image.size() / 2);
    QCOMPARE(stored, image.left(stored.size()));
    QVERIFY(!upload.lines().contains(QStringLiteral("load_progress 200")));
    verifySessionEnded(upload.bench, false);
}

void SerialUploadTest::aChangedAddressIsForTheNextRun()
{
    Upload upload;
    upload.begin(makeBytes(320));
    QVERIFY(upload.panel.waitForRecords(2));
    upload.bench.window().setAddress(QStringLiteral("0x17"));
    upload.bench.probe().setPortName(QStringLiteral("ttyELSE"));
    QCOMPARE(upload.finish(), 0);
    QCOMPARE(upload.panel.finish().value(QStringLiteral("other-address")), 0);
}

void SerialUploadTest::aConnectionTypeThatIsNone()
{
    Upload upload;
    upload.bench.probe().setConnectionType(4);
    upload.begin(makeBytes(320));
    QVERIFY(!upload.bench.probe().sessionOpen());
    QCOMPARE(upload.lines(), QStringList());
}

/// The adapter's handle keeps its value after it was closed; the serial port must not be taken for it.
void SerialUploadTest::anUpdateThroughTheAdapterThenOneOverASerialPort()
{
    const SimulatedAdapter adapter;
    const PanelProcess panel;
    const QByteArray image = makeBytes(5 * ChunkSize);
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    const MessageBoxes boxes;
    for (int round = 0; round < 2; ++round) {
        bench.probe().setConnectionType(ConnectionModbusSub20);
        bench.press();
        QVERIFY(bench.waitForEnd());
        QCOMPARE(bench.probe().future().result(), 0);
        QVERIFY(bench.probe().sub20Handle() != nullptr);
        const QStringList calls = adapter.log();
        bench.probe().setConnectionType(ConnectionComPort);
        bench.probe().setPortName(panel.path());
        bench.press();
        QVERIFY(bench.waitForEnd());
        QCOMPARE(bench.probe().future().result(), 0);
        QCOMPARE(panel.image(), image);
        QCOMPARE(adapter.log(), calls);
    }
    QVERIFY(boxes.contents().isEmpty());
}

QTEST_MAIN(SerialUploadTest)
#include "tst_serialupload.moc"
