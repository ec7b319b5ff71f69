// SPDX-License-Identifier: MIT
#include "tests/docs/guides.h"
#include "tests/support/testcase.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QSet>

namespace {

const QString Repository = QStringLiteral(ZEPHYRIN_REPOSITORY "/");

/// The repository's Markdown files; not those that a build has made.
QStringList markdownFiles()
{
    QStringList files;
    QStringList folders{Repository};
    while (!folders.isEmpty()) {
        const QDir folder(folders.takeFirst());
        if (folder.dirName() == QStringLiteral("build") || folder.exists(QStringLiteral("CMakeCache.txt")))
            continue;
        for (const QFileInfo &entry :
             folder.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks))
            folders += entry.filePath();
        for (const QFileInfo &entry : folder.entryInfoList({QStringLiteral("*.md")}, QDir::Files))
            files += QDir(Repository).relativeFilePath(entry.filePath());
    }
    return files;
}

/// The file of the repository that `target` in `file` leads to; `file` itself for an anchor alone.
QString leadsTo(const QString &file, const QString &target)
{
    const QString path = target.section(u'#', 0, 0);
    return path.isEmpty() ? file : QDir::cleanPath(QFileInfo(file).path() + u'/' + path);
}

bool isElsewhere(const QString &target)
{
    return target.contains(QStringLiteral("://")) || target.startsWith(QStringLiteral("mailto:"));
}

/// Why `target`, as it stands in `file`, leads nowhere; empty when it leads somewhere.
QString problem(const QString &file, const QString &target)
{
    const QString path = leadsTo(file, target);
    if (path.startsWith(QStringLiteral("..")) || !QFileInfo::exists(Repository + path))
        return QStringLiteral("there is no such file");
    const QString anchor = target.section(u'#', 1);
    if (!anchor.isEmpty() && !Markdown::read(path).anchors().contains(anchor))
        return QStringLiteral("there is no such heading");
    return {};
}

} // namespace

/// Links and pictures of all Markdown files.
class LinksTest : public TestCase
{
    Q_OBJECT

private slots:
    void theCheckerSees_data();
    void theCheckerSees();
    void everyLinkLeadsSomewhere_data();
    void everyLinkLeadsSomewhere();
    void everyPictureIsUsed();
};

void LinksTest::theCheckerSees_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("found");
    QTest::newRow("file") << "[a](README.md)"
                          << "";
    QTest::newRow("picture") << "![a](images/no.png)"
                             << "there is no such file";
    QTest::newRow("no file") << "[a](nowhere.md)"
                             << "there is no such file";
    QTest::newRow("out of the repository") << "[a](../elsewhere.md)"
                                           << "there is no such file";
    QTest::newRow("heading") << "[a](README.md#two-commands)"
                             << "";
    QTest::newRow("no heading") << "[a](README.md#three-commands)"
                                << "there is no such heading";
}

void LinksTest::theCheckerSees()
{
    QFETCH(const QString, text);
    QFETCH(const QString, found);
    const QStringList targets = Markdown(text).targets();
    QCOMPARE(targets.size(), 1);
    QCOMPARE(problem(QStringLiteral("README.md"), targets.constFirst()), found);
}

void LinksTest::everyLinkLeadsSomewhere_data()
{
    QTest::addColumn<QString>("file");
    const QStringList files = markdownFiles();
    QVERIFY(files.contains(QStringLiteral("docs/user-guide.md")));
    for (const QString &file : files)
        QTest::newRow(qPrintable(file)) << file;
}

void LinksTest::everyLinkLeadsSomewhere()
{
    QFETCH(const QString, file);
    QStringList problems;
    const QStringList targets = Markdown::read(file).targets();
    for (const QString &target : targets) {
        const QString why = isElsewhere(target) ? QString() : problem(file, target);
        if (!why.isEmpty())
            problems += target + QStringLiteral(": ") + why;
    }
    verifyNone(problems);
}

void LinksTest::everyPictureIsUsed()
{
    QSet<QString> used;
    const QStringList files = markdownFiles();
    for (const QString &file : files) {
        const QStringList targets = Markdown::read(file).targets();
        for (const QString &target : targets)
            used += leadsTo(file, target);
    }
    QDirIterator pictures(Repository + QStringLiteral("docs/images"), QDir::Files);
    QVERIFY(pictures.hasNext());
    QStringList unused;
    while (pictures.hasNext()) {
        const QString picture = QDir(Repository).relativeFilePath(pictures.next());
        if (!used.contains(picture))
            unused += picture;
    }
    verifyNone(unused);
}

QTEST_GUILESS_MAIN(LinksTest)
#include "tst_links.moc"
