// SPDX-License-Identifier: MIT
#include "tests/docs/guides.h"
#include "tests/docs/programtexts.h"
#include "tests/docs/sources.h"
#include "tests/support/testcase.h"

#include <QMessageBox>
#include <QPushButton>
#include <QSerialPort>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

/// Qt's buttons, and what the system says of files and ports.
QStringList systemTexts()
{
    QStringList texts;
    QMessageBox box;
    for (const auto button :
         {QMessageBox::Close, QMessageBox::Ok, QMessageBox::Open, QMessageBox::Save, QMessageBox::Cancel})
        texts += box.addButton(button)->text().remove(u'&');
    for (const int error : {ENOENT, EACCES, EISDIR, EIO})
        texts += QString::fromLocal8Bit(std::strerror(error));
    QSerialPort port(QStringLiteral("no such port"));
    port.open(QIODevice::ReadWrite);
    texts += port.errorString();
    return texts;
}

/// What a guide quotes that cannot be asked for here.
const QStringList QuotedFromElsewhere{
    // Windows, of a file that is missing and of a port that is in use
    QStringLiteral("The system cannot find the file specified."),
    QStringLiteral("Access is denied."),
    // Linux, of a port that is in use
    QStringLiteral("Device or resource busy"),
    // Qt, of a serial port whose lock file belongs to somebody else
    QStringLiteral("Permission error while locking the device"),
    // the user guide, of its own marks
    QStringLiteral("double quotes"),
    QStringLiteral("bold"),
};

/// All that the program can show.
QStringList allTexts()
{
    // A small word without a blank is a name that the program itself uses.
    static const QRegularExpression shown(QStringLiteral("^[^a-z]| "));
    QStringList texts = systemTexts() + formTexts() + QuotedFromElsewhere;
    const QStringList sources = programSources();
    for (const QString &source : sources)
        texts += literals(source).filter(shown);
    // The window's title is made of two of them.
    const QStringList title{QStringLiteral("Zephyrin Update Utility"), QStringLiteral("1.0.4")};
    if (texts.contains(title.at(0)) && texts.contains(title.at(1)))
        texts += title.join(u' ');
    return texts;
}

/// Those of `mentions` that nothing shows.
QStringList unknown(QStringList mentions)
{
    static const ProgramTexts known(allTexts());
    mentions.removeIf([](const QString &mention) { return known.contains(mention); });
    return mentions;
}

/// What is quoted in the first cells of the guide's tables of error boxes.
QStringList boxesInTables(const Markdown &guide)
{
    QString cells;
    const QList<Markdown::Table> tables = guide.tables();
    for (const Markdown::Table &table : tables) {
        if (table.rows.constFirst().value(0) != QStringLiteral("Box"))
            continue;
        for (const QStringList &row : table.rows)
            cells += row.value(0) + QStringLiteral("\n\n");
    }
    return Markdown(cells).quotations();
}

/// Whether the guide tells of an error elsewhere: with the option that makes the box come up, or with the
/// trace.
bool isToldElsewhere(const QString &error)
{
    return error.endsWith(QStringLiteral(" (result %1)")) || error.contains(QStringLiteral("The log output"));
}

/// Those of `errors` that `guide` does not tell of.
QStringList untold(const QStringList &errors, const Markdown &guide)
{
    const QStringList entries = boxesInTables(guide);
    const QStringList all = guide.quotations();
    QStringList missing;
    for (const QString &error : errors) {
        const QStringList &told = isToldElsewhere(error) ? all : entries;
        const auto isIt = [&error](const QString &text) { return ProgramTexts::isQuotationOf(text, error); };
        if (std::none_of(told.begin(), told.end(), isIt))
            missing += error;
    }
    return missing;
}

/// Those of `lines` that `guide` does not explain: it quotes a line, or names how it begins, up to a colon.
QStringList unexplained(const QStringList &lines, const Markdown &guide)
{
    const QStringList quotations = guide.quotations();
    const QStringList beginnings = guide.codes().filter(QRegularExpression(QStringLiteral("\\w:$")));
    QStringList missing;
    for (const QString &line : lines) {
        const auto quotes = [&line](const QString &text) { return ProgramTexts::isQuotationOf(text, line); };
        const auto begins = [&line](const QString &text) { return line.startsWith(text); };
        if (std::none_of(quotations.begin(), quotations.end(), quotes) &&
            std::none_of(beginnings.begin(), beginnings.end(), begins))
            missing += line;
    }
    return missing;
}

/// The keys of the settings file that the sources name, without their group.
QStringList settingsKeys()
{
    static const QRegularExpression setting(QStringLiteral("^settings/(\\w+)$"));
    static const QRegularExpression option(
        QStringLiteral("\\bread\\(settings,\\s*QStringLiteral\\(\"(\\w+)\"\\)"));
    QStringList keys;
    const QStringList sources = programSources();
    for (const QString &source : sources) {
        for (const QString &literal : literals(source)) {
            if (const QRegularExpressionMatch match = setting.match(literal); match.hasMatch())
                keys += match.captured(1);
        }
        for (const QRegularExpressionMatch &match : option.globalMatch(source))
            keys += match.captured(1);
    }
    keys.removeDuplicates();
    return keys;
}

} // namespace

/// The guides against the texts of the program: what a guide quotes, the program shows, and what the program
/// reports, the guide explains.
///
/// A guide has the program's texts in straight double quotes, with *italic* placeholders, and the names of
/// controls and windows in bold.
class GuideTextsTest : public TestCase
{
    Q_OBJECT

private slots:
    void theCheckerTells_data();
    void theCheckerTells();
    void literalsAreJoinedAndResolved();
    void errorsAreFound_data();
    void errorsAreFound();

    void everyQuotationIsAText_data();
    void everyQuotationIsAText();
    void everyBoldTextIsAText_data();
    void everyBoldTextIsAText();
    void everyErrorHasAnEntry();
    void everyLogLineIsExplained();
    void everyKeyIsNamed();
};

void GuideTextsTest::theCheckerTells_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isText");
    const auto row = [](const char *text, bool isText) {
        QTest::newRow(text) << QString::fromUtf8(text) << isText;
    };
    row("\"Start Update\"", true);
    row("\"Start Updat\"", false);
    row("\"tart Update\"", false);
    row("\"start update\"", false);
    row("\"Load FW\"", false);
    row("\"Close\"", true);
    row("\"Zephyrin Update Utility 1.0.4\"", true);
    row("\"Zephyrin Update Utility 1.0.5\"", false);
    row("\"Elapsed time: 01:05\"", true);
    row("\"Elapsed time: long\"", false);
    row("\"Elapsed time: \"", false);
    row("\"Connection via COM4\"", true);
    row("\"Connection via *connection*\"", true);
    row("\"Connection via InfraRed SUB-20\"", true);
    row("\"Connection via InfraRed\"", true);
    row("\"Connection via light\"", false);
    row("\"Connection by COM4\"", false);
    row("\"Modbus Exception: Illegal Function\"", true);
    row("\"Modbus Exception: 11 - Unknown\"", true);
    row("\"Modbus Exception: Illegal\"", false);
    row("\"Illegal Function\"", true);
    row("\"Frame incomplete (sz=1)\"", true);
    row("\"Frame incomplete (sz=*count*)\"", true);
    row("\"Frame incomplete (sz=one)\"", false);
    row("\"Frame incomplete\"", false);
    row("\"Can't open image file *file* *reason*\"", true);
    row("\"Can't open image file *file* No such file or directory\"", true);
    row("\"Can't open image file *file* no idea\"", false);
    row("\"*anything* *at all*\"", false);
    row("\"*anything*\"", false);
    row("a \"quotation over\na line's end\"", false);
    row("a \"Start\nUpdate\"", true);
}

void GuideTextsTest::theCheckerTells()
{
    QFETCH(const QString, text);
    QFETCH(const bool, isText);
    const QStringList quotations = Markdown(text).quotations();
    QCOMPARE(quotations.size(), 1);
    QCOMPARE(unknown(quotations).isEmpty(), isText);
}

void GuideTextsTest::literalsAreJoinedAndResolved()
{
    const QString code = QStringLiteral("f(\"one \" \"two\\n\", '\"', \"a \\\"b\\\"\");");
    QCOMPARE(literals(code), (QStringList{QStringLiteral("one two\n"), QStringLiteral("a \"b\"")}));
}

void GuideTextsTest::errorsAreFound_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QStringList>("texts");
    const auto row = [](const char *code, const QStringList &texts) {
        QTest::newRow(code) << QString::fromLatin1(code) << texts;
    };
    row("reportError(QStringLiteral(\"No!\"));", {QStringLiteral("No!")});
    row("emit errorSignal(QStringLiteral(\"No %1\").arg(why(1)));", {QStringLiteral("No %1")});
    row("QString reason(int code) { return code ? \"one\" : \"two\"; } showErrorBox(reason(1));",
        {QStringLiteral("one"), QStringLiteral("two")});
    row("QString reason() { return \"one\"; } emit errorString(QStringLiteral(\"No: \") + reason());",
        {QStringLiteral("No: one")});
    row("QMessageBox::warning(this, tr(\"Title\"), tr(\"No!\"));", {QStringLiteral("No!")});
    row("errorSignal(somethingNew);", {QStringLiteral("? somethingNew")});
    row("void reportError(const QString &errTxt);", {});
    row("connect(a, SIGNAL(errorString(QString)), b, SLOT(c()));", {});
}

void GuideTextsTest::errorsAreFound()
{
    QFETCH(const QString, code);
    QFETCH(const QStringList, texts);
    QCOMPARE(errorTexts({code}), texts);
}

void GuideTextsTest::everyQuotationIsAText_data()
{
    QTest::addColumn<QString>("guide");
    for (const QString &guide : {UserGuide, Readme, InfraredGuide, ModbusGuide})
        QTest::newRow(qPrintable(guide)) << guide;
}

void GuideTextsTest::everyQuotationIsAText()
{
    QFETCH(const QString, guide);
    const Markdown text = Markdown::read(guide);
    QVERIFY(!text.quotations().isEmpty());
    verifyNone(text.openQuotations());
    verifyNone(unknown(text.quotations()));
}

void GuideTextsTest::everyBoldTextIsAText_data()
{
    QTest::addColumn<QString>("guide");
    for (const QString &guide : {UserGuide, Readme})
        QTest::newRow(qPrintable(guide)) << guide;
}

void GuideTextsTest::everyBoldTextIsAText()
{
    QFETCH(const QString, guide);
    const Markdown text = Markdown::read(guide);
    QVERIFY(!text.isEmpty());
    verifyNone(unknown(text.boldTexts()));
}

void GuideTextsTest::everyErrorHasAnEntry()
{
    const QStringList errors = errorTexts(programSources());
    // One of each way in which the program reports.
    for (const char *text :
         {"Image file not selected!", "Can't open image file %1 %2", "SUB-20 not connected!",
          "Modbus Timeout", "Modbus Exception: Illegal Function", "The panel does not reply (result %1)"})
        QVERIFY2(errors.contains(QString::fromLatin1(text)), text);
    QCOMPARE(untold(errors, Markdown(QString())), errors);
    const QString inAnotherTable = QStringLiteral("| What | Why |\n|---|---|\n| \"Modbus Timeout\" | |\n");
    QCOMPARE(untold(errors, Markdown(inAnotherTable)), errors);
    verifyNone(untold(errors, Markdown::read(UserGuide)));
}

void GuideTextsTest::everyLogLineIsExplained()
{
    const QStringList lines = logTexts(programSources());
    // One of each way in which the program writes them.
    for (const char *text :
         {"boot run", "%lld bytes written...", "SUB-20 library not used:",
          "is not used, its value is no good:", "no connection is chosen: nothing is sent"})
        QVERIFY2(lines.contains(QString::fromLatin1(text)), text);
    QCOMPARE(unexplained(lines, Markdown(QString())), lines);
    verifyNone(unexplained(lines, Markdown::read(UserGuide)));
}

void GuideTextsTest::everyKeyIsNamed()
{
    const QStringList keys = settingsKeys();
    QVERIFY(keys.contains(QStringLiteral("reply_gap")));
    QVERIFY(keys.contains(QStringLiteral("connection_type")));
    QStringList named;
    const QStringList codes = Markdown::read(UserGuide).codes();
    for (const QString &code : codes)
        named += code.section(u'=', 0, 0);
    for (const QString &key : keys)
        QVERIFY2(named.contains(key), qPrintable(key));
}

QTEST_MAIN(GuideTextsTest)
#include "tst_guidetexts.moc"
