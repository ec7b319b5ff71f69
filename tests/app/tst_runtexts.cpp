// SPDX-License-Identifier: MIT
#include "app/devicelog.h"
#include "app/runlog.h"
#include "app/runtexts.h"
#include "connections/connection.h"
#include "modbus/modbusresult.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>

namespace {

UpdateJob jobOver(int connection)
{
    UpdateJob job;
    job.connectionType = connection;
    job.imageFileName = QStringLiteral("C:/site/panel.INC");
    job.portName = QStringLiteral("COM4");
    job.deviceAddress = 0x50;
    return job;
}

RunFigures figuresOf(int sent, int done, std::vector<quint32> timesUs)
{
    RunFigures figures;
    figures.sent = sent;
    figures.done = done;
    figures.timesUs = std::move(timesUs);
    return figures;
}

bool asks(const QStringList &texts)
{
    return std::any_of(texts.begin(), texts.end(), [](const QString &text) {
        return text.contains(QStringLiteral("options/line_echo"));
    });
}

} // namespace

/// What the log file says of a run and of ports.
class RunTextsTest : public TestCase
{
    Q_OBJECT

private slots:
    void connections_data();
    void connections();
    void images();
    void imageThatCannotBeRead();
    void stoppedWhileTheImageIsRead();
    void pieces_data();
    void pieces();
    void figures_data();
    void figures();
    void tooFast_data();
    void tooFast();
    void results_data();
    void results();
    void stops();
    void ports();
    void withoutALogFileNothingIsCounted();
};

void RunTextsTest::connections_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("address");
    QTest::addColumn<QString>("text");
    QTest::newRow("infrared") << int{ConnectionInfraRed} << 0x50 << QStringLiteral("InfraRed SUB-20");
    QTest::newRow("RS-485") << int{ConnectionModbusSub20} << 0x05
                            << QStringLiteral("Modbus SUB-20, address 0x05");
    QTest::newRow("port") << int{ConnectionComPort} << 0x50
                          << QStringLiteral("serial port COM4, address 0x50");
    QTest::newRow("address beyond a byte")
        << int{ConnectionComPort} << 0x1FE << QStringLiteral("serial port COM4, address 0xfe");
    QTest::newRow("none") << 7 << 0x50 << QStringLiteral("connection 7");
}

void RunTextsTest::connections()
{
    QFETCH(const int, type);
    QFETCH(const int, address);
    UpdateJob job = jobOver(type);
    job.deviceAddress = address;
    QTEST(connectionText(job), "text");
}

void RunTextsTest::images()
{
    const QTemporaryDir folder;
    UpdateJob job = jobOver(ConnectionComPort);
    job.imageFileName = folder.filePath(QStringLiteral("a 'b' %1.INC"));
    QFile file(job.imageFileName);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("abc") == 3);
    file.close();
    const std::atomic<bool> stop = false;
    // The example of FIPS 180-2.
    QCOMPARE(
        imageText(job, lookAtImage(job.imageFileName, stop)),
        QStringLiteral("image: \"%1\", 3 bytes, SHA-256 "
                       "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad, 1 records to send")
            .replace(QStringLiteral("%1"), job.imageFileName));
}

void RunTextsTest::imageThatCannotBeRead()
{
    const std::atomic<bool> stop = false;
    const UpdateJob job = jobOver(ConnectionInfraRed);
    for (const QString &name : {QStringLiteral("/no such folder/panel.INC"), QDir::tempPath(), QString()})
        QCOMPARE(imageText(job, lookAtImage(name, stop)),
                 QStringLiteral("image: \"C:/site/panel.INC\", not looked at: no file"));
}

void RunTextsTest::stoppedWhileTheImageIsRead()
{
    const std::atomic<bool> stop = true;
    QCOMPARE(lookAtImage(QCoreApplication::applicationFilePath(), stop).problem,
             QStringLiteral("the run was stopped"));
}

void RunTextsTest::pieces_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("pieces");
    QTest::newRow("no bytes") << int{ConnectionComPort} << qint64{0} << qint64{0};
    QTest::newRow("a record") << int{ConnectionComPort} << qint64{32} << qint64{1};
    QTest::newRow("a byte more") << int{ConnectionModbusSub20} << qint64{33} << qint64{2};
    QTest::newRow("a block") << int{ConnectionInfraRed} << qint64{48} << qint64{1};
    QTest::newRow("two blocks") << int{ConnectionInfraRed} << qint64{49} << qint64{2};
}

void RunTextsTest::pieces()
{
    QFETCH(const int, type);
    QFETCH(const qint64, size);
    QTEST(piecesOf(jobOver(type), size), "pieces");
}

void RunTextsTest::figures_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("infrared")
        << int{ConnectionInfraRed}
        << QStringList{QStringLiteral("sent 4 of 60 blocks, which nobody confirms, in 12.345 s"),
                       QStringLiteral("took for each block: 150.0 ms at least, 150.2 ms in the median, 151.0 "
                                      "ms at most")};
    QTest::newRow("RS-485")
        << int{ConnectionModbusSub20}
        << QStringList{
               QStringLiteral("sent 4 of 60 records, 3 of them confirmed, in 12.345 s"),
               QStringLiteral("took for each record: 150.0 ms at least, 150.2 ms in the median, 151.0 "
                              "ms at most")};
    QTest::newRow("port") << int{ConnectionComPort}
                          << QStringList{
                                 QStringLiteral("sent 4 of 60 records, 3 of them confirmed, in 12.345 s"),
                                 QStringLiteral(
                                     "took for each record: 150.0 ms at least, 150.2 ms in the median, 151.0 "
                                     "ms at most; a 9600 baud line needs 141.7 ms")};
}

void RunTextsTest::figures()
{
    QFETCH(const int, type);
    const RunFigures run = figuresOf(4, 3, {150'200, 151'000, 150'000});
    QTEST(figureTexts(jobOver(type), run, 60, 12'345), "texts");
    QCOMPARE(figureTexts(jobOver(type), figuresOf(1, 0, {}), 60, 10'000).size(), 1);
}

void RunTextsTest::tooFast_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("pauseMs");
    QTest::addColumn<bool>("lineEcho");
    QTest::addColumn<int>("address");
    QTest::addColumn<quint32>("medianUs");
    QTest::addColumn<bool>("isAsked");
    // A request of 44 bytes and a reply of as many take 91,667 us, and the pause.
    const auto row = [](const char *name, int type, int pauseMs, bool lineEcho, int address, quint32 medianUs,
                        bool isAsked) {
        QTest::newRow(name) << type << pauseMs << lineEcho << address << medianUs << isAsked;
    };
    row("as fast as can be", ConnectionComPort, 50, false, 0x50, 141'667, false);
    row("a microsecond faster", ConnectionComPort, 50, false, 0x50, 141'666, true);
    row("an echo at 9600 baud", ConnectionComPort, 50, false, 0x50, 95'834, true);
    row("an echo at once", ConnectionComPort, 50, false, 0x50, 52'000, true);
    row("a shorter pause", ConnectionComPort, 5, false, 0x50, 96'667, false);
    row("a shorter pause, a microsecond faster", ConnectionComPort, 5, false, 0x50, 96'666, true);
    row("an echo that is known of", ConnectionComPort, 50, true, 0x50, 95'834, false);
    row("to all panels, which do not answer", ConnectionComPort, 50, false, 0, 52'000, false);
    row("to all panels by another number", ConnectionComPort, 50, false, 0x100, 52'000, false);
    row("an adapter at any speed", ConnectionModbusSub20, 50, false, 0x50, 8'000, false);
    row("infrared", ConnectionInfraRed, 50, false, 0x50, 8'000, false);
}

void RunTextsTest::tooFast()
{
    QFETCH(const int, type);
    QFETCH(const quint32, medianUs);
    UpdateJob job = jobOver(type);
    QFETCH(const int, pauseMs);
    QFETCH(const bool, lineEcho);
    QFETCH(const int, address);
    job.link.requestPauseMs = pauseMs;
    job.link.lineEcho = lineEcho;
    job.deviceAddress = address;
    QTEST(asks(figureTexts(job, figuresOf(3, 3, {1'000'000, medianUs, 1}), 3, 100)), "isAsked");
}

void RunTextsTest::results_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");
    const auto row = [](int type, int result, const char *text) {
        QTest::addRow("%d over %d", result, type) << type << result << QString::fromLatin1(text);
    };
    for (const int type : {ConnectionInfraRed, ConnectionModbusSub20, ConnectionComPort}) {
        row(type, 0, "result 0, the whole image was sent");
        row(type, -1, "result -1, not all of the image was sent");
        row(type, 0x20000, "result 131072, the image was refused");
        row(type, 7, "result 7, an error of the adapter's library");
    }
    row(ConnectionComPort, 1, "result 1, the serial port cannot be written or read");
    row(ConnectionComPort, 27, "result 27, the panel's reply is too long");
    row(ConnectionComPort, 32, "result 32, the panel's reply is too short");
    row(ConnectionComPort, 40, "result 40, the panel refuses");
    row(ConnectionModbusSub20, 104, "result 104, the panel's reply is damaged");
    row(ConnectionModbusSub20, 138, "result 138, the panel does not reply");
    row(ConnectionModbusSub20, 0x10000, "result 65536, the panel's reply is not the echo of the request");
    row(ConnectionComPort, 0x10001, "result 65537, the converter did not return what was sent");
    for (const int result : {1, 27, 0x10001}) // of a serial port alone
        QTest::addRow("%d by the adapter", result)
            << int{ConnectionModbusSub20} << result
            << QStringLiteral("result %1, an error of the adapter's library").arg(result);
    // By infrared there is no panel's reply, whatever the adapter's library numbers its errors.
    row(ConnectionInfraRed, 138, "result 138, an error of the adapter's library");
}

void RunTextsTest::results()
{
    QFETCH(const int, type);
    QFETCH(const int, result);
    QTEST(resultText(jobOver(type), result), "text");
}

void RunTextsTest::stops()
{
    SessionEnd end;
    end.result = -1;
    QCOMPARE(stopText(end, false), QString());
    end.wasStopped = true;
    QCOMPARE(stopText(end, false), QStringLiteral("; stopped by the user"));
    QCOMPARE(stopText(end, true), QStringLiteral("; stopped, the window was closed"));
    end.result = 0; // the stop came behind the last piece
    QCOMPARE(stopText(end, false), QString());
}

void RunTextsTest::ports()
{
    const QList<SerialPort> ports{
        {QStringLiteral("COM4"), QStringLiteral("USB Serial Port"), 0x0403, 0x6001},
        {QStringLiteral("COM5"), QStringLiteral("Serial over Bluetooth"), 0, 0},
        {QStringLiteral("COM6"), QString(), 0, 0},
        {QStringLiteral("COM7"), QString(), 0x1A86, 0x7523},
    };
    QCOMPARE(
        portTexts(ports),
        QStringList({QStringLiteral("port COM4, \"USB Serial Port\", USB 0403:6001, in the menu"),
                     QStringLiteral("port COM5, \"Serial over Bluetooth\", no USB numbers, not in the menu: "
                                    "it is a Bluetooth port"),
                     QStringLiteral("port COM6, \"\", no USB numbers, in the menu"),
                     QStringLiteral("port COM7, \"\", USB 1A86:7523, not in the menu: it has no "
                                    "description")}));
}

void RunTextsTest::withoutALogFileNothingIsCounted()
{
    RunLog log;
    const std::atomic<bool> stop = false;
    QCOMPARE(log.watch(jobOver(ConnectionComPort), stop, [] { return 7; }), 7);
    QCOMPARE(log.figures(), nullptr);
}

QTEST_GUILESS_MAIN(RunTextsTest)
#include "tst_runtexts.moc"
