// SPDX-License-Identifier: MIT
#include "log/logmessages.h"
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <array>
#include <utility>

namespace {

constexpr int Combinations = 6;
constexpr int PauseMs = 10;
constexpr int UsualPauseMs = 50;

/// An option, the value that sets it, and in which of the combinations it is set.
struct Key
{
    const char *name;
    QString value;
    std::array<bool, Combinations> isSet;
};

/// The combinations have each two of the options in every way: none of them, the one, the other, both. Each
/// option is set in three of the last five, no two in the same three.
const std::array<Key, 10> &keys()
{
    static const QString on = QStringLiteral("true");
    static const std::array<Key, 10> all{{
        {"line_echo", on, {false, true, true, true, false, false}},
        {"trace_frames", on, {false, true, true, false, true, false}},
        {"request_pause", QString::number(PauseMs), {false, true, true, false, false, true}},
        {"check_reply", on, {false, true, false, true, true, false}},
        {"reply_gap", QStringLiteral("1000"), {false, true, false, true, false, true}},
        {"tell_silent_failures", on, {false, true, false, false, true, true}},
        {"port_follows_menu", on, {false, false, true, true, true, false}},
        {"check_image", on, {false, false, true, true, false, true}},
        {"alert_when_done", on, {false, false, true, false, true, true}},
        {"log_file", on, {false, false, false, true, true, true}},
    }};
    return all;
}

QVariantMap combination(std::size_t number)
{
    QVariantMap options;
    for (const Key &key : keys()) {
        if (key.isSet.at(number))
            options.insert(QString::fromLatin1(key.name), key.value);
    }
    return options;
}

bool has(const QVariantMap &options, const char *name)
{
    return options.contains(QString::fromLatin1(name));
}

/// The line that the options are for, and what else the panel is to do.
QStringList lineFor(const QVariantMap &options, const QString &more = {})
{
    QString arguments = more;
    if (has(options, "line_echo"))
        arguments += QStringLiteral(" --line-echo");
    if (has(options, "reply_gap"))
        arguments += QStringLiteral(" --bursts 14");
    return arguments.split(u' ', Qt::SkipEmptyParts);
}

qsizetype framesIn(const MessageLog &log)
{
    static const QRegularExpression frame(QStringLiteral("^(-->|<--) "));
    return log.texts().filter(frame).size();
}

} // namespace

/// Every two options together on a real update over a serial port: done, refused, stopped and closed. Each
/// option still does its own. The log file, which main() begins, is written in all of them: it takes nothing
/// from the others, and has one beginning and one end for each run.
class OptionPairsTest : public TestCase
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void everyPairIsThereInEveryWay();
    void theImageArrives_data();
    void theImageArrives();
    void aPanelThatRefuses_data();
    void aPanelThatRefuses();
    void aReplyThatIsTooLong_data();
    void aReplyThatIsTooLong();
    void stop_data();
    void stop();
    void closing_data();
    void closing();

private:
    static void addCombinations();
    qsizetype runsThat(const QString &what) const;
    QString logFile() const { return folder.filePath(QStringLiteral("site.log")); }

    QTemporaryDir folder;
    qsizetype runs = 0;
};

void OptionPairsTest::initTestCase()
{
    startLogFile(logFile());
}

void OptionPairsTest::cleanup()
{
    const qsizetype begun = runsThat(QStringLiteral("begins"));
    const bool hasRun = qstrcmp(QTest::currentTestFunction(), "everyPairIsThereInEveryWay") != 0;
    QCOMPARE(begun > runs, hasRun);
    QCOMPARE(runsThat(QStringLiteral("ends")), begun);
    runs = begun;
}

qsizetype OptionPairsTest::runsThat(const QString &what) const
{
    QFile file(logFile());
    const QString text = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    return text.split(u'\n').filter(QRegularExpression(QStringLiteral("run \\d+ %1: ").arg(what))).size();
}

void OptionPairsTest::addCombinations()
{
    QTest::addColumn<QVariantMap>("options");
    for (std::size_t number = 0; number < Combinations; ++number) {
        const QVariantMap options = combination(number);
        const QString name = options.isEmpty() ? QStringLiteral("none") : options.keys().join(u' ');
        QTest::newRow(qPrintable(name)) << options;
    }
}

void OptionPairsTest::everyPairIsThereInEveryWay()
{
    for (const Key &one : keys()) {
        for (const Key &other : keys()) {
            if (&one == &other)
                continue;
            QSet<std::pair<bool, bool>> ways;
            for (std::size_t number = 0; number < Combinations; ++number)
                ways.insert({one.isSet.at(number), other.isSet.at(number)});
            QVERIFY2(ways.size() == 4,
                     qPrintable(QString::fromLatin1(one.name) + u' ' + QString::fromLatin1(other.name)));
        }
    }
}

void OptionPairsTest::theImageArrives_data()
{
    addCombinations();
}

void OptionPairsTest::theImageArrives()
{
    QFETCH(const QVariantMap, options);
    constexpr int Records = 12;
    const QByteArray image = makeBytes(Records * ChunkSize - 5);
    Upload upload(lineFor(options), options);
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
    QCOMPARE(upload.lines(), signalsFor(static_cast<int>(image.size())));
    QCOMPARE(upload.panel.image(), received(image));
    QCOMPARE(framesIn(upload.log), has(options, "trace_frames") ? 2 * Records : 0);
    verifySessionEnded(upload.bench, true);
    const QMap<QString, int> counts = upload.panel.finish();
    QCOMPARE(counts.value(QStringLiteral("requests")), Records);
    const int leastUs = (has(options, "request_pause") ? PauseMs : UsualPauseMs) * 1000;
    QVERIFY(counts.value(QStringLiteral("lowest-gap-us")) >= leastUs);
}

void OptionPairsTest::aPanelThatRefuses_data()
{
    addCombinations();
}

void OptionPairsTest::aPanelThatRefuses()
{
    QFETCH(const QVariantMap, options);
    const QByteArray image = makeBytes(12 * ChunkSize);
    Upload upload(lineFor(options, QStringLiteral("--exception 4 --from-record 5 --pacing-from-record 0")),
                  options);
    QCOMPARE(upload.run(image), 40);
    QCOMPARE(upload.boxes.informativeTexts(),
             QStringList(QStringLiteral("Modbus Exception: Slave Device Failure")));
    QCOMPARE(upload.panel.image(), image.left(5 * ChunkSize));
    verifySessionEnded(upload.bench, false);
}

void OptionPairsTest::aReplyThatIsTooLong_data()
{
    addCombinations();
}

// Silent but for tell_silent_failures. All of it comes at once: a machine that is held up sees no gap in it.
void OptionPairsTest::aReplyThatIsTooLong()
{
    QFETCH(const QVariantMap, options);
    QStringList line{QStringLiteral("--oversize"), QStringLiteral("300"), QStringLiteral("--from-record"),
                     QStringLiteral("2")};
    if (has(options, "line_echo"))
        line += QStringLiteral("--line-echo");
    Upload upload(line, options);
    QCOMPARE(upload.run(makeBytes(12 * ChunkSize)), 27);
    const QStringList told(QStringLiteral("The panel's reply is too long (result 27)"));
    QCOMPARE(upload.boxes.informativeTexts(), has(options, "tell_silent_failures") ? told : QStringList());
    verifySessionEnded(upload.bench, false);
}

void OptionPairsTest::stop_data()
{
    addCombinations();
}

void OptionPairsTest::stop()
{
    QFETCH(const QVariantMap, options);
    Upload upload(lineFor(options), options);
    verifyStop(upload);
}

void OptionPairsTest::closing_data()
{
    addCombinations();
}

void OptionPairsTest::closing()
{
    QFETCH(const QVariantMap, options);
    Upload upload(lineFor(options), options);
    verifyClosing(upload);
}

QTEST_MAIN(OptionPairsTest)
#include "tst_optionpairs.moc"
