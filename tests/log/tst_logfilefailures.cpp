// SPDX-License-Identifier: MIT
#include "log/logfile.h"
#include "tests/support/fulldisk.h"
#include "tests/support/testcase.h"

#include <QFile>
#include <QTemporaryDir>

#include <sys/file.h>
#include <sys/stat.h>

namespace {

QByteArray content(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// The log's file when the system refuses it.
class LogFileFailuresTest : public TestCase
{
    Q_OBJECT

private slots:
    void aFullDiskTakesNoPartOfALine_data();
    void aFullDiskTakesNoPartOfALine();
    void aFullFileWithoutRoomForACopyBeginsAnew();
    void whatIsNoOrdinaryFileIsRefused_data();
    void whatIsNoOrdinaryFileIsRefused();
    void aLinkToAnImageIsRefused();
    void aProgramThatHangsHoldsNobodyUp();
};

void LogFileFailuresTest::aFullDiskTakesNoPartOfALine_data()
{
    QTest::addColumn<int>("room");
    QTest::newRow("none") << 6;
    QTest::newRow("a part of the line") << 9;
    QTest::newRow("all but its end") << 12;
}

void LogFileFailuresTest::aFullDiskTakesNoPartOfALine()
{
    QFETCH(const int, room);
    const QTemporaryDir folder;
    LogFile log(folder.filePath(QStringLiteral("site.log")));
    QCOMPARE(log.write("first\n"), QString());
    QString problem;
    {
        const FullDisk disk(static_cast<rlim_t>(room));
        problem = log.write("second\n");
    }
    QVERIFY(!problem.isEmpty());
    QCOMPARE(log.problem(), problem);
    QCOMPARE(content(log.path()), QByteArray("first\n"));
    QCOMPARE(log.write("third\n"), QString());
    QCOMPARE(log.problem(), QString());
    QCOMPARE(content(log.path()), QByteArray("first\nthird\n"));
}

void LogFileFailuresTest::aFullFileWithoutRoomForACopyBeginsAnew()
{
    const QTemporaryDir folder;
    LogFile log(folder.filePath(QStringLiteral("site.log")), 20);
    // A folder that holds something can be neither removed nor written over.
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("site.log.1/in the way")));
    QCOMPARE(log.write("first----------\n"), QString());
    QCOMPARE(log.write("second\n"), QString());
    QCOMPARE(content(log.path()), QByteArray("second\n"));
}

void LogFileFailuresTest::whatIsNoOrdinaryFileIsRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("a pipe that nobody reads") << QStringLiteral("pipe");
    QTest::newRow("a link to it") << QStringLiteral("link to pipe");
    QTest::newRow("a device without room") << QStringLiteral("/dev/full");
    QTest::newRow("a device without end") << QStringLiteral("/dev/zero");
    QTest::newRow("a terminal") << QStringLiteral("/dev/ptmx");
    QTest::newRow("a folder") << QStringLiteral("folder");
}

void LogFileFailuresTest::whatIsNoOrdinaryFileIsRefused()
{
    QFETCH(const QString, name);
    const QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), S_IRUSR | S_IWUSR), 0);
    QVERIFY(QFile::link(pipe, folder.filePath(QStringLiteral("link to pipe"))));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("folder")));
    LogFile log(QDir(folder.path()).absoluteFilePath(name));
    QCOMPARE(log.write("lost\n"), QStringLiteral("it is no ordinary file"));
    QCOMPARE(log.problem(), QStringLiteral("it is no ordinary file"));
}

void LogFileFailuresTest::aLinkToAnImageIsRefused()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("panel.INC")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("firmware") > 0);
    file.close();
    QVERIFY(QFile::link(file.fileName(), folder.filePath(QStringLiteral("link"))));
    LogFile lines(folder.filePath(QStringLiteral("link")), LogFile::LargestSize,
                  {{file.fileName(), QStringLiteral("it is the image")}});
    QCOMPARE(lines.write("lost\n"), QStringLiteral("it is the image"));
    QCOMPARE(content(file.fileName()), QByteArray("firmware"));
}

void LogFileFailuresTest::aProgramThatHangsHoldsNobodyUp()
{
    const QTemporaryDir folder;
    LogFile log(folder.filePath(QStringLiteral("site.log")));
    QFile other(log.path());
    QVERIFY(other.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(::flock(other.handle(), LOCK_EX), 0);
    QCOMPARE(log.write("first\n"), QString());
    QCOMPARE(content(log.path()), QByteArray("first\n"));
}

QTEST_GUILESS_MAIN(LogFileFailuresTest)
#include "tst_logfilefailures.moc"
