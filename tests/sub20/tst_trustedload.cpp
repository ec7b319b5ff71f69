// SPDX-License-Identifier: MIT
#include "sub20/trustedload.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QScopeGuard>
#include <QTemporaryDir>

/// Where Windows looks for what the adapter's library depends on.
class TrustedLoadTest : public TestCase
{
    Q_OBJECT

private slots:
    void dependencyBesideTheLibraryIsTaken();
    void dependencyInTheCurrentDirectoryIsNotTaken();
    void dependencyInPathIsNotTaken();
    void missingFileIsNamed();
    void textFileIsNoLibrary();

private:
    static QString needy() { return QStringLiteral(NEEDY_LIBRARY); }
    static QString needed() { return QStringLiteral(NEEDED_LIBRARY); }
    static QString nameOf(const QString &file) { return QFileInfo(file).fileName(); }
};

void TrustedLoadTest::dependencyBesideTheLibraryIsTaken()
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath(nameOf(needy()));
    QVERIFY(QFile::copy(needy(), copy));
    QVERIFY(QFile::copy(needed(), folder.filePath(nameOf(needed()))));
    const TrustedLoad load(copy);
    QCOMPARE(load.problem(), QString());
    QLibrary library(copy);
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    QVERIFY(library.resolve("needyNumber") != nullptr);
    QVERIFY(library.unload());
}

void TrustedLoadTest::dependencyInTheCurrentDirectoryIsNotTaken()
{
    const QString before = QDir::currentPath();
    const auto restored = qScopeGuard([&before] { QDir::setCurrent(before); });
    QVERIFY(QDir::setCurrent(QFileInfo(needed()).path()));
    const TrustedLoad load(needy());
    QVERIFY2(load.problem().startsWith(needy() + QStringLiteral(": ")), qPrintable(load.problem()));
}

void TrustedLoadTest::dependencyInPathIsNotTaken()
{
    const QByteArray before = qgetenv("PATH");
    const auto restored = qScopeGuard([&before] { qputenv("PATH", before); });
    qputenv("PATH", QDir::toNativeSeparators(QFileInfo(needed()).path()).toLocal8Bit() + ';' + before);
    const TrustedLoad load(needy());
    QVERIFY2(load.problem().startsWith(needy() + QStringLiteral(": ")), qPrintable(load.problem()));
    // The file that was refused would have served.
    QLibrary library(needy());
    QVERIFY2(library.load(), qPrintable(library.errorString()));
    QVERIFY(library.unload());
}

void TrustedLoadTest::missingFileIsNamed()
{
    const QString file = QDir::tempPath() + QStringLiteral("/nosuchlibrary.dll");
    const TrustedLoad load(file);
    QVERIFY2(load.problem().startsWith(file + QStringLiteral(": ")), qPrintable(load.problem()));
}

void TrustedLoadTest::textFileIsNoLibrary()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("text.dll")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("This is no library.\n") > 0);
    file.close();
    const TrustedLoad load(file.fileName());
    QVERIFY2(load.problem().startsWith(file.fileName() + QStringLiteral(": ")), qPrintable(load.problem()));
}

QTEST_GUILESS_MAIN(TrustedLoadTest)
#include "tst_trustedload.moc"
