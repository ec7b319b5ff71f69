// SPDX-License-Identifier: MIT
#include "log/filelock.h"
#include "log/logfile.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <memory>
#include <tuple>
#include <vector>

/// The file that the log is written to: whole lines, whoever writes them, and a second file when it is full.
class LogFileTest : public TestCase
{
    Q_OBJECT

private slots:
    void cleanup() { folder = std::make_unique<QTemporaryDir>(); }
    void aLineIsThereAtOnce();
    void linesFollowThoseBefore();
    void aFileThatWasMovedAwayBeginsAnew();
    void aFullFileBecomesThePreviousOne_data();
    void aFullFileBecomesThePreviousOne();
    void onlyOnePreviousFileIsKept();
    void aLineLongerThanTheFileIsWritten();
    void theUsualSizeIsFiveMebibytes();
    void threadsTearNoLines();
    void programsTearNoLines();
    void oneHasTheLockAtATime();
    void aFileThatCannotBeOpenedIsReported();
    void whatIsNoLogIsLeftAlone_data();
    void whatIsNoLogIsLeftAlone();
    void anotherFileThatComesInTheLogsPlaceIsLeftAlone();

private:
    QString path() const { return folder->filePath(QStringLiteral("site.log")); }
    QString previous() const { return path() + QStringLiteral(".1"); }
    static QByteArray content(const QString &name);
    /// Checks that the two files hold "a 0" to "a COUNT-1" and the same for the other names, each in order.
    void verifyWholeLines(const QList<QByteArray> &names, int count) const;

    std::unique_ptr<QTemporaryDir> folder = std::make_unique<QTemporaryDir>();
};

QByteArray LogFileTest::content(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void LogFileTest::verifyWholeLines(const QList<QByteArray> &names, int count) const
{
    QList<QByteArray> lines = (content(previous()) + content(path())).split('\n');
    QCOMPARE(lines.takeLast(), QByteArray());
    QCOMPARE(lines.size(), names.size() * count);
    QHash<QByteArray, int> next;
    for (const QByteArray &line : lines) {
        const QByteArray name = line.split(' ').constFirst();
        QVERIFY2(names.contains(name), line.constData());
        QCOMPARE(line, name + ' ' + QByteArray::number(next[name]++));
    }
}

void LogFileTest::aLineIsThereAtOnce()
{
    LogFile log(path());
    QVERIFY(!QFile::exists(path()));
    QCOMPARE(log.write("first\n"), QString());
    QCOMPARE(content(path()), QByteArray("first\n"));
    QCOMPARE(log.write("second\n"), QString());
    QCOMPARE(content(path()), QByteArray("first\nsecond\n"));
    QCOMPARE(log.problem(), QString());
}

void LogFileTest::linesFollowThoseBefore()
{
    QCOMPARE(LogFile(path()).write("yesterday\n"), QString());
    QCOMPARE(LogFile(path()).write("today\n"), QString());
    QCOMPARE(content(path()), QByteArray("yesterday\ntoday\n"));
}

void LogFileTest::aFileThatWasMovedAwayBeginsAnew()
{
    LogFile log(path());
    QCOMPARE(log.write("first\n"), QString());
    QVERIFY(QFile::rename(path(), folder->filePath(QStringLiteral("sent"))));
    QCOMPARE(log.write("second\n"), QString());
    QCOMPARE(content(path()), QByteArray("second\n"));
}

void LogFileTest::aFullFileBecomesThePreviousOne_data()
{
    QTest::addColumn<int>("largest");
    QTest::addColumn<QByteArray>("kept");
    QTest::addColumn<QByteArray>("anew");
    QTest::newRow("room for a third line") << 15 << QByteArray() << QByteArray("1234\n1234\n1234\n");
    QTest::newRow("one byte too small") << 14 << QByteArray("1234\n1234\n") << QByteArray("1234\n");
}

void LogFileTest::aFullFileBecomesThePreviousOne()
{
    QFETCH(const int, largest);
    LogFile log(path(), largest);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(log.write("1234\n"), QString());
    QTEST(content(previous()), "kept");
    QTEST(content(path()), "anew");
}

void LogFileTest::onlyOnePreviousFileIsKept()
{
    LogFile log(path(), 10);
    for (const char *const line : {"first---\n", "second--\n", "third---\n"})
        QCOMPARE(log.write(line), QString());
    QCOMPARE(content(previous()), QByteArray("second--\n"));
    QCOMPARE(content(path()), QByteArray("third---\n"));
    QCOMPARE(QDir(folder->path()).entryList(QDir::Files).size(), 2);
}

void LogFileTest::aLineLongerThanTheFileIsWritten()
{
    const QByteArray longLine = QByteArray(100, 'x') + '\n';
    LogFile log(path(), 10);
    QCOMPARE(log.write(longLine), QString());
    QVERIFY(!QFile::exists(previous()));
    QCOMPARE(log.write("short\n"), QString());
    QCOMPARE(content(previous()), longLine);
    QCOMPARE(content(path()), QByteArray("short\n"));
}

void LogFileTest::theUsualSizeIsFiveMebibytes()
{
    constexpr qint64 Largest = 5 * 1024 * 1024;
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(Largest - 5));
    file.close();
    LogFile log(path());
    QCOMPARE(log.write("1234\n"), QString());
    QCOMPARE(QFile(path()).size(), Largest);
    QVERIFY(!QFile::exists(previous()));
    QCOMPARE(log.write("\n"), QString());
    QCOMPARE(QFile(previous()).size(), Largest);
    QCOMPARE(content(path()), QByteArray("\n"));
}

void LogFileTest::threadsTearNoLines()
{
    constexpr int Count = 500;
    constexpr int HalfOfAll = 6000;
    LogFile log(path(), HalfOfAll);
    const QList<QByteArray> names{"a", "b", "c"};
    std::vector<std::unique_ptr<QThread>> threads;
    for (const QByteArray &name : names) {
        threads.emplace_back(QThread::create([&log, name] {
            for (int i = 0; i < Count; ++i)
                std::ignore = log.write(name + ' ' + QByteArray::number(i) + '\n');
        }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        QVERIFY(thread->wait());
    QVERIFY(QFile::exists(previous()));
    verifyWholeLines(names, Count);
}

void LogFileTest::programsTearNoLines()
{
    constexpr int Count = 1000;
    constexpr int HalfOfAll = 12000;
    const QList<QByteArray> names{"one", "two"};
    std::vector<std::unique_ptr<QProcess>> writers;
    for (const QByteArray &name : names) {
        writers.push_back(std::make_unique<QProcess>());
        writers.back()->start(
            QStringLiteral(LOG_WRITER),
            {path(), QString::number(HalfOfAll), QString::fromLatin1(name), QString::number(Count)});
    }
    for (const auto &writer : writers) {
        QVERIFY(writer->waitForFinished(60000));
        QCOMPARE(writer->exitCode(), 0);
    }
    QVERIFY(QFile::exists(previous()));
    verifyWholeLines(names, Count);
}

void LogFileTest::oneHasTheLockAtATime()
{
    QFile file(path());
    QFile again(path());
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    QVERIFY(again.open(QIODevice::WriteOnly | QIODevice::Append));
    {
        const FileLock first(file);
        QVERIFY(first.isHeld());
        QVERIFY(!FileLock(again).isHeld());
    }
    QVERIFY(FileLock(again).isHeld());
}

void LogFileTest::aFileThatCannotBeOpenedIsReported()
{
    LogFile log(folder->filePath(QStringLiteral("no such folder/site.log")));
    QVERIFY(!log.write("lost\n").isEmpty());
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("no such folder")));
    QCOMPARE(log.write("found\n"), QString());
    QCOMPARE(log.problem(), QString());
    QCOMPARE(content(log.path()), QByteArray("found\n"));

    LogFile ofAFolder(folder->path());
    QCOMPARE(ofAFolder.write("lost\n"), QStringLiteral("it is no ordinary file"));
}

void LogFileTest::whatIsNoLogIsLeftAlone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("before");
    QTest::newRow("by its name") << QStringLiteral("panel.INC") << QByteArray("firmware\n");
    QTest::newRow("by another way") << QStringLiteral("below/../panel.INC") << QByteArray("firmware\n");
    QTest::newRow("empty") << QStringLiteral("panel.INC") << QByteArray("");
    QTest::newRow("yet to come") << QStringLiteral("panel.INC") << QByteArray();
}

void LogFileTest::whatIsNoLogIsLeftAlone()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, before);
    const QString image = folder->filePath(QStringLiteral("panel.INC"));
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("below")));
    QFile file(image);
    if (!before.isNull()) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(before), before.size());
        file.close();
    }
    LogFile log(folder->filePath(name), LogFile::LargestSize,
                {{folder->filePath(QStringLiteral("other")), QStringLiteral("it is another one")},
                 {image, QStringLiteral("it is the image")}});
    QCOMPARE(log.write("lost\n"), QStringLiteral("it is the image"));
    QCOMPARE(log.problem(), QStringLiteral("it is the image"));
    QCOMPARE(file.exists(), !before.isNull());
    QCOMPARE(content(image), before);
}

void LogFileTest::anotherFileThatComesInTheLogsPlaceIsLeftAlone()
{
    const QString image = folder->filePath(QStringLiteral("panel.INC"));
    LogFile log(path(), LogFile::LargestSize, {{image, QStringLiteral("it is the image")}});
    QCOMPARE(log.write("first\n"), QString());
    QVERIFY(QFile::remove(path()));
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("site.log")));
    QCOMPARE(log.write("lost\n"), QStringLiteral("it is no ordinary file"));
    QVERIFY(QDir(folder->path()).rmdir(QStringLiteral("site.log")));
    QCOMPARE(log.write("second\n"), QString());
    QCOMPARE(content(path()), QByteArray("second\n"));
}

QTEST_GUILESS_MAIN(LogFileTest)
#include "tst_logfile.moc"
