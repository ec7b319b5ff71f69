// SPDX-License-Identifier: MIT
#include "app/options.h"
#include "tests/support/messagelog.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

/// The settings file's group "options", as the program reads it at its start.
class OptionsTest : public TestCase
{
    Q_OBJECT

private slots:
    void withoutAFileAllAreOff();
    void withoutTheGroupAllAreOff();
    void allAreRead();
    void goodValues_data();
    void goodValues();
    void requestPauses_data();
    void requestPauses();
    void logFiles_data();
    void logFiles();
    void logFileIsReadWithoutAWord();
    void keysThatAreSetAreListed();
    void refusedValues_data();
    void refusedValues();
    void refusedKeysCanBeReportedAgain();
    void everyRefusedKeyHasItsLine();
    void aRefusedKeyLeavesTheOthers();
    void theFileIsNotWritten();

private:
    /// What is read from a file of these lines, below "[options]".
    Options read(const QByteArray &lines);
    static bool areOff(const Options &options);
    QByteArray content() const;
    QString fileName() const { return folder.filePath(QStringLiteral("%1.ini").arg(files)); }

    QTemporaryDir folder;
    int files = 0;
};

Options OptionsTest::read(const QByteArray &lines)
{
    ++files; // Qt may take a file of the same size and time for the one that it knows
    QFile file(fileName());
    if (!file.open(QIODevice::WriteOnly) || file.write("[options]\n" + lines + '\n') < 0)
        QTest::qFail("the file cannot be written", __FILE__, __LINE__);
    file.close();
    return readOptions(QSettings(file.fileName(), QSettings::IniFormat));
}

bool OptionsTest::areOff(const Options &options)
{
    const LinkOptions &link = options.link;
    return link.replyGapMs == 0 && !link.checkReply && !link.lineEcho && link.requestPauseMs == 50 &&
           !link.traceFrames && !options.portFollowsMenu && !options.tellSilentFailures &&
           !options.checkImage && !options.alertWhenDone && options.traceKey.isEmpty() &&
           options.logFile.isEmpty();
}

QByteArray OptionsTest::content() const
{
    QFile file(fileName());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void OptionsTest::withoutAFileAllAreOff()
{
    MessageLog log;
    const QString missing = folder.filePath(QStringLiteral("missing.ini"));
    QVERIFY(areOff(readOptions(QSettings(missing, QSettings::IniFormat))));
    QCOMPARE(log.take(), QStringList());
    QVERIFY(!QFile::exists(missing));
}

void OptionsTest::withoutTheGroupAllAreOff()
{
    MessageLog log;
    QVERIFY(areOff(read("[settings]\nreply_gap=50\ncheck_reply=true\ntrace_key=F12")));
    QCOMPARE(log.take(), QStringList());
}

void OptionsTest::allAreRead()
{
    MessageLog log;
    const Options options = read("reply_gap=50\nport_follows_menu=true\ntell_silent_failures=true\n"
                                 "check_reply=true\ntrace_key=Ctrl+F12\nline_echo=true\nlog_file=true\n"
                                 "trace_frames=true\nrequest_pause=5\ncheck_image=true\n"
                                 "alert_when_done=true");
    QCOMPARE(options.link.replyGapMs, 50);
    QVERIFY(options.portFollowsMenu);
    QVERIFY(options.tellSilentFailures);
    QVERIFY(options.link.checkReply);
    QCOMPARE(options.traceKey, QKeySequence(Qt::CTRL | Qt::Key_F12));
    QVERIFY(options.link.lineEcho);
    QCOMPARE(options.logFile, folder.filePath(QStringLiteral("zephyrin-update.log")));
    QVERIFY(options.link.traceFrames);
    QCOMPARE(options.link.requestPauseMs, 5);
    QVERIFY(options.checkImage);
    QVERIFY(options.alertWhenDone);
    QCOMPARE(log.take(), QStringList());
}

void OptionsTest::goodValues_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("replyGapMs");
    QTest::addColumn<bool>("checkReply");
    QTest::addColumn<QKeySequence>("traceKey");
    const QKeySequence none;
    QTest::newRow("least gap") << QByteArray("reply_gap=1") << 1 << false << none;
    QTest::newRow("largest gap") << QByteArray("reply_gap=1000") << 1000 << false << none;
    QTest::newRow("quoted gap") << QByteArray("reply_gap=\"50\"") << 50 << false << none;
    QTest::newRow("True") << QByteArray("check_reply=True") << 0 << true << none;
    QTest::newRow("false") << QByteArray("check_reply=false") << 0 << false << none;
    QTest::newRow("function key") << QByteArray("trace_key=F12") << 0 << false << QKeySequence(Qt::Key_F12);
    QTest::newRow("two presses") << QByteArray("trace_key=Ctrl+K, Ctrl+T") << 0 << false
                                 << QKeySequence(Qt::CTRL | Qt::Key_K, Qt::CTRL | Qt::Key_T);
}

void OptionsTest::goodValues()
{
    QFETCH(const QByteArray, line);
    MessageLog log;
    const Options options = read(line);
    QTEST(options.link.replyGapMs, "replyGapMs");
    QTEST(options.link.checkReply, "checkReply");
    QTEST(options.traceKey, "traceKey");
    QCOMPARE(log.take(), QStringList());
}

void OptionsTest::requestPauses_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("ms");
    QTest::newRow("the silence between two frames") << QByteArray("4") << 4;
    QTest::newRow("one less than without the key") << QByteArray("49") << 49;
    QTest::newRow("as without the key") << QByteArray("50") << 50;
}

void OptionsTest::requestPauses()
{
    QFETCH(const QByteArray, value);
    MessageLog log;
    QTEST(read("request_pause=" + value).link.requestPauseMs, "ms");
    QCOMPARE(log.take(), QStringList());
}

void OptionsTest::logFiles_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("file");
    const QString beside = folder.filePath(QStringLiteral("zephyrin-update.log"));
    QTest::newRow("on") << QStringLiteral("true") << beside;
    QTest::newRow("On") << QStringLiteral("True") << beside;
    QTest::newRow("off") << QStringLiteral("false") << QString();
    const QString elsewhere = QDir::cleanPath(QDir::tempPath() + QStringLiteral("/a b/site 1.log"));
    QTest::newRow("a path") << elsewhere << elsewhere;
}

void OptionsTest::logFiles()
{
    QFETCH(const QString, value);
    MessageLog log;
    QTEST(read("log_file=" + value.toUtf8()).logFile, "file");
    QCOMPARE(log.take(), QStringList());
}

void OptionsTest::logFileIsReadWithoutAWord()
{
    read("log_file=true\nreply_gap=x");
    MessageLog log;
    QCOMPARE(chosenLogFile(QSettings(fileName(), QSettings::IniFormat)),
             folder.filePath(QStringLiteral("zephyrin-update.log")));
    QCOMPARE(log.take(), QStringList());
    read("log_file=site.log");
    log.take();
    QCOMPARE(chosenLogFile(QSettings(fileName(), QSettings::IniFormat)), QString());
    QCOMPARE(log.take(), QStringList());
}

void OptionsTest::keysThatAreSetAreListed()
{
    const MessageLog log;
    QCOMPARE(read("reply_gap=50\ncheck_reply=False\ntrace_key=Ctrl+K, Ctrl+T\nrequest_pause=3").set,
             QStringList({QStringLiteral("reply_gap=50"), QStringLiteral("check_reply=False"),
                          QStringLiteral("trace_key=Ctrl+K, Ctrl+T")}));
    QCOMPARE(read("").set, QStringList());
}

void OptionsTest::refusedValues_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("value");
    for (const char *const value :
         {"-1", "-50", "0", "1001", "99999999999", "50.5", "50 ms", "0x32", "fast", "true", "", "50, 60"})
        QTest::addRow("reply_gap=%s", value) << QByteArray("reply_gap") << QByteArray(value);
    for (const char *const value : {"-4", "0", "3", "51", "4.5", "4 ms", "true", "", "4, 5"})
        QTest::addRow("request_pause=%s", value) << QByteArray("request_pause") << QByteArray(value);
    for (const char *const value : {"", "yes", "site.log", "../site.log", "true, true"})
        QTest::addRow("log_file=%s", value) << QByteArray("log_file") << QByteArray(value);
    for (const char *const key : {"port_follows_menu", "tell_silent_failures", "check_reply", "line_echo",
                                  "trace_frames", "check_image", "alert_when_done"}) {
        for (const char *const value : {"-1", "0", "1", "1001", "yes", "", "true, true"})
            QTest::addRow("%s=%s", key, value) << QByteArray(key) << QByteArray(value);
    }
    for (const char *const value : {"", "Ctrl+", "Shift", "Ctrl+Shift", "no such key", "Ctrl+Nothing"})
        QTest::addRow("trace_key=%s", value) << QByteArray("trace_key") << QByteArray(value);
}

void OptionsTest::refusedValues()
{
    QFETCH(const QByteArray, key);
    QFETCH(const QByteArray, value);
    MessageLog log;
    const Options options = read(key + '=' + value);
    QVERIFY(areOff(options));
    const QString line = QStringLiteral("options/%1 is not used, its value is no good: %2")
                             .arg(QString::fromLatin1(key), QString::fromLatin1(value));
    QCOMPARE(log.take(), QStringList(QStringLiteral("debug: ") + line));
    QCOMPARE(options.refused.size(), 1);
}

/// The lines are kept, for a trace that is switched on later.
void OptionsTest::refusedKeysCanBeReportedAgain()
{
    MessageLog log;
    const Options options = read("reply_gap=x\ncheck_reply=true\ntrace_key=xyz");
    const QStringList lines = log.take();
    QCOMPARE(lines.size(), 2);
    for (int times = 0; times < 2; ++times) {
        reportRefused(options);
        QCOMPARE(log.take(), lines);
    }
    reportRefused(read("check_reply=true"));
    QCOMPARE(log.take(), QStringList());
}

void OptionsTest::everyRefusedKeyHasItsLine()
{
    MessageLog log;
    QVERIFY(areOff(read("reply_gap=x\nport_follows_menu=x\ntell_silent_failures=x\ncheck_reply=x\n"
                        "trace_key=xyz")));
    QCOMPARE(log.take().size(), 5);
}

void OptionsTest::aRefusedKeyLeavesTheOthers()
{
    MessageLog log;
    const Options options = read("reply_gap=1001\ncheck_reply=true");
    QCOMPARE(options.link.replyGapMs, 0);
    QVERIFY(options.link.checkReply);
    QCOMPARE(log.take().size(), 1);
}

void OptionsTest::theFileIsNotWritten()
{
    MessageLog log;
    for (const QByteArray lines :
         {"reply_gap=50\ntrace_key=Ctrl+F12", "reply_gap=x\ncheck_reply=", "; a remark\n\nreply_gap = 50"}) {
        read(lines);
        QCOMPARE(content(), "[options]\n" + lines + '\n');
    }
}

QTEST_GUILESS_MAIN(OptionsTest)
#include "tst_options.moc"
