// SPDX-License-Identifier: MIT
#include "tests/docs/guides.h"
#include "tests/docs/sources.h"
#include "tests/support/testcase.h"

#include <QDirIterator>
#include <QFileInfo>

namespace {

const QString Repository = QStringLiteral(ZEPHYRIN_REPOSITORY "/");

/// The source of a test program; empty when there is none of this name.
QString testSource(const QString &program)
{
    QDirIterator files(Repository + QStringLiteral("tests"), {program + QStringLiteral(".cpp")}, QDir::Files,
                       QDirIterator::Subdirectories);
    return files.hasNext() ? fileText(QDir(Repository).relativeFilePath(files.next())) : QString();
}

/// Whether there is such a test, `tst_program::slot`, or such a script, `tools/script`.
bool isThere(const QString &name)
{
    static const QRegularExpression test(
        QRegularExpression::anchoredPattern(QStringLiteral(R"((tst_\w+)::(\w+))")));
    if (const QRegularExpressionMatch match = test.match(name); match.hasMatch()) {
        const QRegularExpression slot(QStringLiteral(R"(\n    void %1\(\);)").arg(match.captured(2)));
        return testSource(match.captured(1)).contains(slot);
    }
    return name.startsWith(QStringLiteral("tools/")) && QFileInfo(Repository + name).isFile();
}

/// The rows of what is trusted that no test holds, or one that is not there.
QStringList unheld(const Markdown &text)
{
    static const QRegularExpression code(QStringLiteral("`([^`]*)`"));
    QStringList found;
    const Markdown::Table table =
        text.table(QStringLiteral("What the program trusts"), QStringLiteral("What"));
    for (const QStringList &row : table.rows.mid(1)) {
        QRegularExpressionMatchIterator names = code.globalMatch(row.value(2));
        if (!names.hasNext())
            found += row.value(0) + QStringLiteral(": nothing");
        while (names.hasNext()) {
            if (const QString name = names.next().captured(1); !isThere(name))
                found += row.value(0) + QStringLiteral(": ") + name;
        }
    }
    return found;
}

} // namespace

/// What SECURITY.md says the program trusts: each line names the tests that hold it, and they are there.
class SecurityTestsTest : public TestCase
{
    Q_OBJECT

private slots:
    void theCheckerSees_data();
    void theCheckerSees();
    void everyLineIsHeldByATest();
};

void SecurityTestsTest::theCheckerSees_data()
{
    QTest::addColumn<QString>("holds");
    QTest::addColumn<QStringList>("unheldRows");
    const auto row = [](const char *holds, const QStringList &unheldRows) {
        QTest::newRow(holds) << QString(QLatin1String(holds)) << unheldRows;
    };
    row("`tst_links::everyPictureIsUsed`, `tools/check-scripts`", {});
    row("somebody", {QStringLiteral("It: nothing")});
    row("`tst_links::everyPictureIsOld`", {QStringLiteral("It: tst_links::everyPictureIsOld")});
    row("`tst_chains::everyPictureIsUsed`", {QStringLiteral("It: tst_chains::everyPictureIsUsed")});
    row("`tools/check-nothing`", {QStringLiteral("It: tools/check-nothing")});
    row("`README.md`", {QStringLiteral("It: README.md")});
}

void SecurityTestsTest::theCheckerSees()
{
    QFETCH(const QString, holds);
    QFETCH(const QStringList, unheldRows);
    const QString text =
        QStringLiteral("## What the program trusts\n\n| What | Trusted? | Held by |\n|---|---|---|\n"
                       "| It | No | %1 |\n")
            .arg(holds);
    QCOMPARE(unheld(Markdown(text)), unheldRows);
}

void SecurityTestsTest::everyLineIsHeldByATest()
{
    const Markdown text = Markdown::read(QStringLiteral("SECURITY.md"));
    QVERIFY(text.table(QStringLiteral("What the program trusts"), QStringLiteral("What")).rows.size() > 1);
    verifyNone(unheld(text));
}

QTEST_GUILESS_MAIN(SecurityTestsTest)
#include "tst_securitytests.moc"
