// SPDX-License-Identifier: MIT
#include "log/logfile.h"
#include "tests/support/testcase.h"

#include <QFile>
#include <QTemporaryDir>

#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>

namespace {

/// No file of this process can grow beyond so many bytes, as on a disk that is full.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        ::setrlimit(RLIMIT_FSIZE, &before);
        ::signal(SIGXFSZ, SIG_DFL);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    rlimit before{};
};

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
    void aDeviceWithoutRoomIsReported();
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
    QVERIFY(log.write("first\n"));
    bool isWritten = true;
    {
        const FullDisk disk(static_cast<rlim_t>(room));
        isWritten = log.write("second\n");
    }
    QVERIFY(!isWritten);
    QVERIFY(!log.problem().isEmpty());
    QCOMPARE(content(log.path()), QByteArray("first\n"));
    QVERIFY(log.write("third\n"));
    QCOMPARE(log.problem(), QString());
    QCOMPARE(content(log.path()), QByteArray("first\nthird\n"));
}

void LogFileFailuresTest::aFullFileWithoutRoomForACopyBeginsAnew()
{
    const QTemporaryDir folder;
    LogFile log(folder.filePath(QStringLiteral("site.log")), 20);
    // A folder that holds something can be neither removed nor written over.
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("site.log.1/in the way")));
    QVERIFY(log.write("first----------\n"));
    QVERIFY(log.write("second\n"));
    QCOMPARE(content(log.path()), QByteArray("second\n"));
}

void LogFileFailuresTest::aDeviceWithoutRoomIsReported()
{
    LogFile log(QStringLiteral("/dev/full"));
    QVERIFY(!log.write("lost\n"));
    QCOMPARE(log.problem(), QStringLiteral("No space left on device"));
}

void LogFileFailuresTest::aProgramThatHangsHoldsNobodyUp()
{
    const QTemporaryDir folder;
    LogFile log(folder.filePath(QStringLiteral("site.log")));
    QFile other(log.path());
    QVERIFY(other.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(::flock(other.handle(), LOCK_EX), 0);
    QVERIFY(log.write("first\n"));
    QCOMPARE(content(log.path()), QByteArray("first\n"));
}

QTEST_GUILESS_MAIN(LogFileFailuresTest)
#include "tst_logfilefailures.moc"
