// SPDX-License-Identifier: MIT
#include "tests/support/fulldisk.h"
#include "tests/system/systemtest.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSerialPort>
#include <QTest>

#include <sys/stat.h>

#include <optional>

using State = Accessible::State;

namespace {

const QString InfraRed = QStringLiteral("InfraRed SUB-20");
const QString Modbus = QStringLiteral("Modbus SUB-20");
const QString HotKey = QStringLiteral("ctrl+shift+bracketright");
const QString Question =
    QStringLiteral("was faster than a 9600 baud line can be: does the converter return what is sent? Then no "
                   "panel has confirmed anything, see options/line_echo");

/// A line of the file; what is captured is the thread, the level and the text.
const QRegularExpression
    Line(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d "
                        "(window|loader) (debug|info|warning|critical|fatal) +(.*)$"));

} // namespace

/// The log file of the real program: what is in it of the start, of devices, of each run and each failure.
class SystemLog : public SystemTest
{
    Q_OBJECT

private slots:
    void init();

    void withoutTheKeyThereIsNone();
    void startIsLogged();
    void adaptersLibraryIsNamed();
    void devicesThatComeAndGo();
    void runOverEachConnection_data();
    void runOverEachConnection();
    void lineThatIsTooFastIsAsked_data();
    void lineThatIsTooFastIsAsked();
    void converterThatChangesWhatItReturns();
    void badRepliesOverASerialPort_data();
    void badRepliesOverASerialPort();
    void adapterThatFails_data();
    void adapterThatFails();
    void portThatIsGone();
    void portThatIsInUse();
    void portThatIsPulledOut();
    void imageThatIsNotSent_data();
    void imageThatIsNotSent();
    void runThatIsStopped();
    void windowThatIsClosed();
    void traceAndLogTogether();
    void twoProgramsWriteToOneFile();
    void fileElsewhere();
    void fullFileBecomesThePreviousOne();
    void fullDiskIsReportedOnce();
    void whatIsNoLogIsLeftAlone_data();
    void whatIsNoLogIsLeftAlone();

private:
    QString logFile() const
    {
        return QFileInfo(settings().file()).path() + QStringLiteral("/zephyrin-update.log");
    }
    void setOption(const QString &name, const QString &value) const
    {
        settings().setValue(QStringLiteral("options/") + name, value);
    }
    /// The texts of the lines in the file, each behind its thread: "loader 44 bytes written...".
    QStringList lines() const { return lines(logFile()); }
    static QStringList lines(const QString &file);
    /// The only line with this text in it; of the run, without its number.
    QString line(const QString &text) const;
    /// The end of the only run that was begun.
    QString end() const;
    /// Checks what the only run has reported, nothing at all for an empty text, and how it has ended.
    void verifyFailure(const QString &reported, const QString &result) const;
    /// Runs an update to its end, closing the box that tells of its failure if there is to be one.
    void runUpdate(bool hasBox = false) const;
    Accessible traceWindow() const { return program().window(QStringLiteral("Trace")); }
};

void SystemLog::init()
{
    SystemTest::init();
    setOption(QStringLiteral("log_file"), QStringLiteral("true"));
}

QStringList SystemLog::lines(const QString &file)
{
    const QString text = QString::fromUtf8(readFile(file));
    [&] { QVERIFY2(text.isEmpty() || text.endsWith(u'\n'), qPrintable(text)); }();
    QStringList texts;
    for (const QString &row : text.split(u'\n', Qt::SkipEmptyParts)) {
        const QRegularExpressionMatch match = Line.match(row);
        [&] { QVERIFY2(match.hasMatch(), qPrintable(row)); }();
        texts += match.captured(1) + u' ' + match.captured(3);
    }
    return texts;
}

QString SystemLog::line(const QString &text) const
{
    const QStringList found = lines().filter(text);
    [&] { QVERIFY2(found.size() == 1, qPrintable(text + u'\n' + lines().join(u'\n'))); }();
    return QString(found.value(0)).remove(QRegularExpression(QStringLiteral("run \\d+ ")));
}

QString SystemLog::end() const
{
    const QString begin = line(QStringLiteral(" begins: "));
    [&] { QVERIFY2(begin.startsWith(QStringLiteral("loader begins: ")), qPrintable(begin)); }();
    return line(QStringLiteral(" ends: "));
}

void SystemLog::verifyFailure(const QString &reported, const QString &result) const
{
    if (reported.isEmpty())
        QVERIFY(lines().filter(QStringLiteral(" reported: ")).isEmpty());
    else
        QCOMPARE(line(QStringLiteral(" reported: ")), QStringLiteral("window reported: ") + reported);
    QCOMPARE(end(), QStringLiteral("window ends: result ") + result);
}

void SystemLog::runUpdate(bool hasBox) const
{
    pressUpdateButton();
    if (hasBox) {
        QTRY_VERIFY(!program().boxTexts().isEmpty());
        program().closeBox();
    }
    QTRY_VERIFY_WITH_TIMEOUT(lines().filter(QStringLiteral(" ends: ")).size() == 1, 60000);
    QTRY_VERIFY(program().isIdle());
}

void SystemLog::withoutTheKeyThereIsNone()
{
    setOption(QStringLiteral("log_file"), QStringLiteral("false"));
    const PanelProcess panel;
    plugIn(panel);
    const QByteArray image = rememberImage(2 * RecordSize);
    startProgram();
    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    QVERIFY(!QFile::exists(logFile()));
}

void SystemLog::startIsLogged()
{
    setOption(QStringLiteral("reply_gap"), QStringLiteral("50"));
    setOption(QStringLiteral("check_reply"), QStringLiteral("perhaps"));
    const PanelProcess panel;
    plugIn(panel);
    const QString bare = portName() + u'1';
    devices().addSerialPort(bare, QString(), 0);
    startProgram();
    const QStringList start = lines();
    QVERIFY(start.contains(QStringLiteral("window Zephyrin Update Utility 1.0.4, Qt %1, process %2")
                               .arg(QLatin1String(qVersion()))
                               .arg(program().processId())));
    QCOMPARE(start.filter(QRegularExpression(QStringLiteral("^window system: .+, linux .+, .+$"))).size(), 1);
    QCOMPARE(line(QStringLiteral("options: ")).section(u' ', 2).split(QStringLiteral(", ")),
             QStringList({QStringLiteral("reply_gap=50"), QStringLiteral("log_file=true")}));
    QCOMPARE(line(QStringLiteral("option refused: ")),
             QStringLiteral("window option refused: options/check_reply=perhaps"));
    QVERIFY(
        line(QStringLiteral("SUB-20 library: ")).startsWith(QStringLiteral("window SUB-20 library: none: ")));
    QCOMPARE(line(QStringLiteral("port %1,").arg(portName())),
             QStringLiteral("window there is: port %1, \"USB Serial\", USB 0403:6001, in the menu")
                 .arg(portName()));
    QCOMPARE(line(QStringLiteral("port %1,").arg(bare)),
             QStringLiteral(
                 "window there is: port %1, \"\", no USB numbers, not in the menu: it has no description")
                 .arg(bare));

    // What the program prints is what it always prints.
    const QString refusal = QStringLiteral("options/check_reply is not used, its value is no good: perhaps");
    QCOMPARE(program().printed().count(refusal), 1);
    QVERIFY(start.contains(QStringLiteral("window ") + refusal));
    QVERIFY(!program().printed().contains(QStringLiteral("there is: ")));
}

void SystemLog::adaptersLibraryIsNamed()
{
    setAdapters(1);
    startProgram();
    QCOMPARE(line(QStringLiteral("SUB-20 library: ")),
             QStringLiteral("window SUB-20 library: " SUB20_SIMULATOR_FOLDER "/libsub20.so"));
    QCOMPARE(line(QStringLiteral("SUB-20 adapter")), QStringLiteral("window there is: SUB-20 adapter"));
}

void SystemLog::devicesThatComeAndGo()
{
    startProgram();
    const PanelProcess panel;
    const QString id = plugIn(panel);
    const QString port =
        QStringLiteral("port %1, \"USB Serial\", USB 0403:6001, in the menu").arg(portName());
    QTRY_VERIFY(lines().contains(QStringLiteral("window new: ") + port));
    devices().remove(id);
    QTRY_VERIFY(lines().contains(QStringLiteral("window gone: ") + port));
}

void SystemLog::runOverEachConnection_data()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<QString>("begin");
    QTest::addColumn<QString>("sent");
    QTest::newRow("serial port") << portName()
                                 << QStringLiteral("serial port %1, address 0x50").arg(portName())
                                 << QStringLiteral("sent 4 of 4 records, 4 of them confirmed, in ");
    QTest::newRow("RS-485") << Modbus << QStringLiteral("Modbus SUB-20, address 0x50")
                            << QStringLiteral("sent 4 of 4 records, 4 of them confirmed, in ");
    QTest::newRow("infrared") << InfraRed << InfraRed
                              << QStringLiteral("sent 3 of 3 blocks, which nobody confirms, in ");
}

void SystemLog::runOverEachConnection()
{
    constexpr qsizetype Size = 4 * RecordSize;
    QFETCH(const QString, connection);
    QFETCH(const QString, begin);
    QFETCH(const QString, sent);
    const PanelProcess panel;
    plugIn(panel);
    setAdapters(1);
    settings().setValue(QStringLiteral("settings/deviceName"), connection);
    const QByteArray image = rememberImage(Size);
    startProgram();
    runUpdate();
    QCOMPARE(line(QStringLiteral(" begins: ")), QStringLiteral("loader begins: ") + begin);
    const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
    QVERIFY(line(QStringLiteral(" image: "))
                .startsWith(QStringLiteral("loader image: \"%1\", 128 bytes, SHA-256 %2, ")
                                .arg(imageFile(), QString::fromLatin1(digest))));
    QVERIFY(line(QStringLiteral(" sent ")).startsWith(QStringLiteral("window ") + sent));
    static const QRegularExpression times(QStringLiteral(
        "^window took for each (record|block): \\d+\\.\\d ms at least, \\d+\\.\\d ms in the median, "
        "\\d+\\.\\d ms at most(; a 9600 baud line needs 141\\.7 ms)?$"));
    QVERIFY(times.match(line(QStringLiteral(" took "))).hasMatch());
    QCOMPARE(end(), QStringLiteral("window ends: result 0, the whole image was sent"));
    QVERIFY(lines().filter(QStringLiteral(" reported: ")).isEmpty());
}

void SystemLog::lineThatIsTooFastIsAsked_data()
{
    QTest::addColumn<QStringList>("panel");
    QTest::addColumn<bool>("isAsked");
    QTest::newRow("a reply at once") << QStringList() << true;
    QTest::newRow("a converter that returns what is sent, and no panel")
        << QStringList{QStringLiteral("--line-echo"), QStringLiteral("--silent")} << true;
    QTest::newRow("a panel that takes its time")
        << QStringList{QStringLiteral("--answer-ms"), QStringLiteral("100")} << false;
}

void SystemLog::lineThatIsTooFastIsAsked()
{
    QFETCH(const QStringList, panel);
    QFETCH(const bool, isAsked);
    const PanelProcess simulated(panel);
    plugIn(simulated);
    rememberImage(5 * RecordSize);
    startProgram();
    runUpdate();
    QCOMPARE(lines().filter(Question).size(), isAsked ? 1 : 0);
}

void SystemLog::converterThatChangesWhatItReturns()
{
    const PanelProcess simulated({QStringLiteral("--line-echo"), QStringLiteral("--line-echo-flip")});
    plugIn(simulated);
    setOption(QStringLiteral("line_echo"), QStringLiteral("true"));
    rememberImage(5 * RecordSize);
    startProgram();
    runUpdate(true);
    verifyFailure(QStringLiteral("The converter returned record 0 changed"),
                  QStringLiteral("65537, the converter did not return what was sent"));
    QVERIFY(lines().filter(Question).isEmpty());
}

void SystemLog::badRepliesOverASerialPort_data()
{
    QTest::addColumn<QStringList>("panel");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QString>("reported"); // empty for a failure without a box
    QTest::addColumn<QString>("checkReply");
    const auto row = [](const char *name, const QStringList &panel, const char *result, const char *reported,
                        const char *checkReply = "false") {
        QTest::newRow(name) << panel << QString::fromLatin1(result) << QString::fromLatin1(reported)
                            << QString::fromLatin1(checkReply);
    };
    row("silence", {QStringLiteral("--silent")}, "138, the panel does not reply", "");
    row("too long", {QStringLiteral("--oversize"), QStringLiteral("300")},
        "27, the panel's reply is too long", "");
    row("damaged", {QStringLiteral("--flip-crc")}, "104, the panel's reply is damaged", "CRC error");
    row("too short", {QStringLiteral("--cut"), QStringLiteral("2")}, "32, the panel's reply is too short",
        "Frame incomplete (sz=2)\xE2\x90\x8A");
    row("refused", {QStringLiteral("--exception"), QStringLiteral("4")}, "40, the panel refuses",
        "Modbus Exception: Slave Device Failure");
    row("the echo of another record", {QStringLiteral("--echo-before")},
        "65536, the panel's reply is not the echo of the request",
        "The panel's reply to record 2 is not the echo of the request", "true");
}

void SystemLog::badRepliesOverASerialPort()
{
    QFETCH(const QStringList, panel);
    QFETCH(const QString, result);
    QFETCH(QString, reported);
    QFETCH(const QString, checkReply);
    reported = QString::fromUtf8(reported.toLatin1());
    setOption(QStringLiteral("check_reply"), checkReply);
    const PanelProcess simulated(QStringList{QStringLiteral("--from-record"), QStringLiteral("2")} + panel);
    plugIn(simulated);
    rememberImage(5 * RecordSize);
    startProgram();
    runUpdate(!reported.isEmpty());
    QVERIFY(line(QStringLiteral(" sent "))
                .startsWith(QStringLiteral("window sent 3 of 5 records, 2 of them confirmed, in ")));
    verifyFailure(reported, result);
}

void SystemLog::adapterThatFails_data()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<QString>("variable"); // of the simulated adapter
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("sent");
    QTest::addColumn<int>("confirmed");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QString>("reported");
    const auto row = [](const char *name, const QString &connection, const char *setting, int sent,
                        int confirmed, const char *result, const char *reported) {
        const QString text = QString::fromLatin1(setting);
        QTest::newRow(name) << connection << text.section(u'=', 0, 0) << text.section(u'=', 1) << sent
                            << confirmed << QString::fromLatin1(result) << QString::fromLatin1(reported);
    };
    const auto infrared = [row](const char *name, const char *setting, int sent, const char *result,
                                const char *reported) {
        row(name, InfraRed, setting, sent, 0, result, reported);
    };
    infrared("infrared, none", "FAIL=sub_open:1:0", 0, "-1, not all of the image was sent",
             "SUB-20 not connected!");
    infrared("infrared, settings", "FAIL=sub_ir_config:1:-5", 0, "-5, an error of the adapter's library",
             "SUB-20 sub_ir_config: simulated adapter error -5");
    infrared("infrared, transfer", "FAIL=sub_ir_tx:2:-5", 1, "-5, an error of the adapter's library",
             "SUB-20 sub_ir_tx: simulated adapter error -5");
    // Each block goes out three times.
    infrared("infrared, pulled out", "PULL_OUT=7", 3, "-5, an error of the adapter's library",
             "SUB-20 sub_ir_tx: simulated adapter error -5");
    row("RS-485, none", Modbus, "FAIL=sub_open:1:0", 0, 0, "-1, not all of the image was sent",
        "Can't open SUB-20");
    row("RS-485, transfer", Modbus, "FAIL=sub_rs_xfer:1:-5", 1, 0, "5, an error of the adapter's library",
        "sub_rs_xfer: simulated adapter error -5");
    row("RS-485, silence", Modbus, "FAIL=sub_rs_xfer:1:0", 1, 0, "138, the panel does not reply",
        "Modbus Timeout");
    row("RS-485, pulled out", Modbus, "PULL_OUT=3", 3, 2, "5, an error of the adapter's library",
        "sub_rs_xfer: simulated adapter error -5");
}

void SystemLog::adapterThatFails()
{
    QFETCH(const QString, connection);
    QFETCH(const QString, variable);
    QFETCH(const QString, value);
    QFETCH(const int, sent);
    QFETCH(const int, confirmed);
    QFETCH(const QString, result);
    QFETCH(const QString, reported);
    setAdapters(1);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_") + variable, value);
    settings().setValue(QStringLiteral("settings/deviceName"), connection);
    rememberImage(6 * RecordSize);
    startProgram();
    runUpdate(true);
    const bool isInfraRed = connection == InfraRed;
    QCOMPARE(line(QStringLiteral(" begins: ")),
             QStringLiteral("loader begins: ") + connection +
                 (isInfraRed ? QString() : QStringLiteral(", address 0x50")));
    const QString count =
        isInfraRed ? QStringLiteral("window sent %1 of 4 blocks, which nobody confirms, in ").arg(sent)
                   : QStringLiteral("window sent %1 of 6 records, %2 of them confirmed, in ")
                         .arg(sent)
                         .arg(confirmed);
    QVERIFY2(line(QStringLiteral(" sent ")).startsWith(count), qPrintable(line(QStringLiteral(" sent "))));
    verifyFailure(reported, result);
}

void SystemLog::portThatIsGone()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(RecordSize);
    startProgram();
    devices().unlinkNode(portName());
    runUpdate(true);
    QCOMPARE(line(QStringLiteral(" port: ")),
             QStringLiteral("loader port: there is no /dev/%1").arg(portName()));
    verifyFailure(QStringLiteral("No such file or directory"),
                  QStringLiteral("-1, not all of the image was sent"));
}

void SystemLog::portThatIsInUse()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(RecordSize);
    startProgram();
    QSerialPort other;
    other.setPortName(portName());
    QVERIFY2(other.open(QIODevice::ReadWrite), qPrintable(other.errorString()));
    runUpdate(true);
    const QString holder = QStringLiteral("process %1, %2, has /dev/%3 open")
                               .arg(QString::number(QCoreApplication::applicationPid()),
                                    QStringLiteral("tst_system_log"), portName());
    static const QRegularExpression runNumber(QStringLiteral("run \\d+ "));
    QVERIFY(
        lines().replaceInStrings(runNumber, QString()).contains(QStringLiteral("loader port: ") + holder));
    QCOMPARE(line(QStringLiteral("this user may ")),
             QStringLiteral("loader port: this user may use /dev/%1").arg(portName()));
}

void SystemLog::portThatIsPulledOut()
{
    std::optional<PanelProcess> panel(
        std::in_place,
        QStringList{QStringLiteral("--from-record"), QStringLiteral("3"), QStringLiteral("--silent")});
    const QString device = plugIn(*panel);
    rememberImage(5 * RecordSize);
    startProgram();
    pressUpdateButton();
    QTRY_COMPARE(lines().count(QStringLiteral("loader 44 bytes written...")), 4);
    panel.reset(); // the line is dead
    devices().remove(device);
    QTRY_VERIFY(!lines().filter(QStringLiteral(" ends: ")).isEmpty());
    QCOMPARE(line(QStringLiteral(" begins: ")),
             QStringLiteral("loader begins: serial port %1, address 0x50").arg(portName()));
    QTRY_VERIFY(!lines().filter(QStringLiteral("window gone: port %1,").arg(portName())).isEmpty());
    QVERIFY(line(QStringLiteral(" sent "))
                .startsWith(QStringLiteral("window sent 4 of 5 records, 3 of them confirmed, in ")));
    verifyFailure(QString(), QStringLiteral("138, the panel does not reply"));
}

void SystemLog::imageThatIsNotSent_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("bytes"); // null: there is no file to write
    QTest::addColumn<QString>("checkImage");
    QTest::addColumn<QString>("image");
    QTest::addColumn<QString>("reported"); // %1 for the file
    QTest::addColumn<QString>("result");
    const auto row = [](const char *name, const QString &file, const QByteArray &bytes, bool isChecked,
                        const char *image, const char *reported, const char *result) {
        QTest::newRow(name) << file << bytes << QVariant(isChecked).toString() << QString::fromLatin1(image)
                            << QString::fromLatin1(reported) << QString::fromLatin1(result);
    };
    const QString panel = QStringLiteral("panel.INC");
    const char *const failed = "-1, not all of the image was sent";
    const char *const refused = "131072, the image was refused";
    row("gone", panel, {}, false, "not looked at: no file",
        "Can't open image file %1 No such file or directory", failed);
    row("a folder", QStringLiteral("."), {}, false, "not looked at: no file",
        "Can't open image file %1 Is a directory", failed);
    // It opens, but nothing lies at the address 0 of a process.
    const QString unreadable = QStringLiteral("/proc/self/mem");
    row("unreadable", unreadable, {}, false, "not looked at: Input/output error",
        "MODBUS BOOT. Image read failed: Input/output error", failed);
    row("unreadable, checked", unreadable, {}, true, "not looked at: Input/output error",
        "The image is not sent: it cannot be read to its end: Input/output error", refused);
    row("empty", panel, "", true,
        "0 bytes, SHA-256 e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855, 0 records to "
        "send",
        "The image is not sent: the file is empty", refused);
    row("a page", panel, "<html>\n", true,
        "7 bytes, SHA-256 b53a55383d2f1f040ab010606d7911907f1a17f979f1d475fb4ac226243135e5, 1 records to "
        "send",
        "The image is not sent: the file is an HTML or XML page", refused);
}

void SystemLog::imageThatIsNotSent()
{
    QFETCH(QString, file);
    QFETCH(const QByteArray, bytes);
    QFETCH(const QString, checkImage);
    QFETCH(const QString, image);
    QFETCH(QString, reported);
    QFETCH(const QString, result);
    const PanelProcess panel;
    plugIn(panel);
    setOption(QStringLiteral("check_image"), checkImage);
    file = QDir(filePath(QString())).absoluteFilePath(file);
    settings().setValue(QStringLiteral("settings/filename"), file);
    if (!bytes.isNull())
        writeFile(file, bytes);
    startProgram();
    runUpdate(true);
    QCOMPARE(line(QStringLiteral(" begins: ")),
             QStringLiteral("loader begins: serial port %1, address 0x50").arg(portName()));
    QCOMPARE(line(QStringLiteral(" image: ")), QStringLiteral("loader image: \"%1\", %2").arg(file, image));
    QVERIFY(line(QStringLiteral(" sent ")).startsWith(QStringLiteral("window sent 0 of ")));
    if (reported.contains(QStringLiteral("%1")))
        reported = reported.arg(file);
    verifyFailure(reported, result);
    QCOMPARE(panel.image(), QByteArray());
}

void SystemLog::runThatIsStopped()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(1000 * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel.waitForRecords(3));
    pressUpdateButton();
    QTRY_VERIFY(!lines().filter(QStringLiteral(" ends: ")).isEmpty());
    QCOMPARE(end(),
             QStringLiteral("window ends: result -1, not all of the image was sent; stopped by the user"));
}

void SystemLog::windowThatIsClosed()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(1000 * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel.waitForRecords(3));
    QCOMPARE(program().close(EndTimeoutMs), ExitCodeOfSuccess);
    QCOMPARE(end(),
             QStringLiteral("window ends: result -1, not all of the image was sent; stopped, the window was "
                            "closed"));
}

void SystemLog::traceAndLogTogether()
{
    constexpr int Records = 3;
    const QString written = QStringLiteral("loader 44 bytes written...");
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(Records * RecordSize);
    startProgram();
    const auto update = [this](int number) {
        program().raise(program().mainWindow());
        pressUpdateButton();
        QTRY_COMPARE(lines().filter(QStringLiteral(" ends: ")).size(), number);
        QCOMPARE(lines().count(QStringLiteral("loader 44 bytes written...")), number * Records);
    };
    const auto trace = [this] { return traceWindow().first(Accessible::Role::Label).text(); };
    update(1);
    QCOMPARE(program().printed().count(QStringLiteral("44 bytes written...")), Records);
    program().press(HotKey);
    QTRY_VERIFY(traceWindow().is(State::Showing));
    update(2);
    // The window has what it always has, and nothing of what only the file has.
    const QStringList shown(Records, QStringLiteral("44 bytes written..."));
    QTRY_COMPARE(trace(), shown.join(u'\n'));
    QCOMPARE(program().printed().count(QStringLiteral("44 bytes written...")), Records);
    program().raise(traceWindow());
    program().press(QStringLiteral("alt+F4"));
    QTRY_VERIFY(traceWindow().isNull());
    update(3);
    QCOMPARE(program().printed().count(QStringLiteral("44 bytes written...")), Records);
    program().press(HotKey);
    QTRY_VERIFY(traceWindow().is(State::Showing));
    QTRY_COMPARE(trace(), (shown + shown).join(u'\n'));
    update(4);
    QTRY_COMPARE(program().printed().count(QStringLiteral("44 bytes written...")), 2 * Records);
    QCOMPARE(trace(), (shown + shown).join(u'\n'));
    QVERIFY(!program().printed().contains(QStringLiteral(" begins: ")));
}

void SystemLog::twoProgramsWriteToOneFile()
{
    constexpr int Records = 50;
    const PanelProcess panel;
    const PanelProcess otherPanel;
    const QString other = portName() + u'1';
    plugIn(panel);
    plugIn(otherPanel, other);
    rememberImage(Records * RecordSize);
    SettingsFolder otherSettings;
    otherSettings.setValue(QStringLiteral("options/log_file"), logFile());
    otherSettings.setValue(QStringLiteral("settings/deviceName"), other);
    otherSettings.setValue(QStringLiteral("settings/filename"), imageFile());
    startProgram();
    UpdateProgram second(*desktop);
    second.start(otherSettings.path());
    second.click(second.updateButton());
    program().raise(program().mainWindow());
    pressUpdateButton();
    QTRY_COMPARE_WITH_TIMEOUT(lines().filter(QStringLiteral(" ends: result 0, ")).size(), 2, 60000);
    QCOMPARE(lines().count(QStringLiteral("loader 44 bytes written...")), 2 * Records);
    QCOMPARE(panel.image(), otherPanel.image());
    QCOMPARE(second.close(EndTimeoutMs), ExitCodeOfSuccess);
}

void SystemLog::fileElsewhere()
{
    const QString elsewhere = filePath(QStringLiteral("site 1.log"));
    setOption(QStringLiteral("log_file"), elsewhere);
    startProgram();
    QVERIFY(!lines(elsewhere).filter(QStringLiteral("window Zephyrin Update Utility 1.0.4, ")).isEmpty());
    QVERIFY(!QFile::exists(logFile()));
}

void SystemLog::fullFileBecomesThePreviousOne()
{
    constexpr qsizetype Largest = 5 * 1024 * 1024;
    const QByteArray before(Largest, '\n');
    writeFile(logFile(), before);
    startProgram();
    QCOMPARE(readFile(logFile() + QStringLiteral(".1")), before);
    QVERIFY(!lines().filter(QStringLiteral("window Zephyrin Update Utility 1.0.4, ")).isEmpty());
}

void SystemLog::fullDiskIsReportedOnce()
{
    constexpr qsizetype Room = 4 * 1024 * 1024;
    const QByteArray before(Room, '\n');
    writeFile(logFile(), before);
    const QString text =
        QStringLiteral("options/log_file: %1 cannot be written: File too large").arg(logFile());
    const PanelProcess panel;
    plugIn(panel);
    const QByteArray image = rememberImage(5 * RecordSize);
    {
        const FullDisk disk(Room);
        startProgram();
    }
    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    waitForEndOfUpdate();
    QCOMPARE(readFile(logFile()), before);
    QCOMPARE(program().printed().count(text), 1);
    QCOMPARE(program().boxTexts(), QStringList());

    program().press(HotKey);
    QTRY_VERIFY(traceWindow().is(State::Showing));
    QTRY_VERIFY(traceWindow().first(Accessible::Role::Label).text().contains(text));
    QCOMPARE(program().printed().count(text), 1);
    program().press(HotKey);
    QTRY_VERIFY(traceWindow().isNull());
}

void SystemLog::whatIsNoLogIsLeftAlone_data()
{
    QTest::addColumn<QString>("path"); // empty for the settings file
    QTest::addColumn<QString>("why");
    QTest::newRow("the settings") << QString() << QStringLiteral("it is the settings file");
    QTest::newRow("the image") << QStringLiteral("panel") << QStringLiteral("it is the image");
    QTest::newRow("another image") << QStringLiteral("other.inc")
                                   << QStringLiteral("it has the name of an image");
    QTest::newRow("a pipe that nobody reads")
        << QStringLiteral("pipe") << QStringLiteral("it is no ordinary file");
}

void SystemLog::whatIsNoLogIsLeftAlone()
{
    QFETCH(QString, path);
    QFETCH(const QString, why);
    path = path.isEmpty() ? settings().file() : filePath(path);
    const QByteArray image(5 * RecordSize, 'x');
    for (const char *const name : {"panel", "other.inc"})
        writeFile(filePath(QString::fromLatin1(name)), image);
    QCOMPARE(::mkfifo(QFile::encodeName(filePath(QStringLiteral("pipe"))).constData(), S_IRUSR | S_IWUSR), 0);
    settings().setValue(QStringLiteral("settings/filename"), filePath(QStringLiteral("panel")));
    setOption(QStringLiteral("log_file"), path);
    const PanelProcess panel;
    plugIn(panel);
    startProgram();
    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    waitForEndOfUpdate();
    const QString text = QStringLiteral("options/log_file: %1 cannot be written: %2").arg(path, why);
    QVERIFY2(program().printed().count(text) == 1, qPrintable(program().printed()));
    for (const char *const name : {"panel", "other.inc"})
        QCOMPARE(readFile(filePath(QString::fromLatin1(name))), image);
    QVERIFY(!readFile(settings().file()).contains("Zephyrin Update Utility 1.0.4"));
}

QTEST_MAIN(SystemLog)
#include "tst_log.moc"
