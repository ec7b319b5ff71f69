// SPDX-License-Identifier: MIT
#include "log/logmessages.h"
#include "tests/support/testcase.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <memory>

namespace {

QStringList before; ///< what came to the handler that was installed at first
QStringList shown;  ///< what came to the one that stands for the trace

void handleBefore(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    before += QStringLiteral("%1 %2 %3").arg(QString::number(level), QLatin1String(context.category), text);
}

void show(QtMsgType level, const QMessageLogContext &, const QString &text)
{
    shown += QStringLiteral("%1 %2").arg(QString::number(level), text);
}

} // namespace

/// The way of the messages with a log file: into the file first, and then where they would have gone without.
/// A process begins its log once, so the functions follow each other.
class LogMessagesTest : public TestCase
{
    Q_OBJECT

private slots:
    void withoutALogFileTheHandlerIsInstalled();
    void noteWithoutALogFileIsNone();
    void messagesGoOnToWhereTheyWent();
    void messagesGoOnToTheTrace();
    void notesAreInTheFileAlone();
    void threadsAreNamed();
    void aFileThatCannotBeWrittenIsReportedOnce();
    void linesGoOnWhenTheFileCanBeWritten();
    void aSecondFileIsNotBegun();

private:
    /// The lines in the file since the last call, without their times.
    QStringList take();
    QString path() const { return folder.filePath(QStringLiteral("here/site.log")); }

    QTemporaryDir folder;
};

QStringList LogMessagesTest::take()
{
    QFile file(path());
    QStringList lines;
    if (!file.open(QIODevice::ReadOnly))
        return lines;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts))
        lines += line.section(u' ', 1);
    file.remove();
    return lines;
}

void LogMessagesTest::withoutALogFileTheHandlerIsInstalled()
{
    const QtMessageHandler tests = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(tests);
    startLogFile(QString());
    QVERIFY(!hasLogFile());
    passMessagesTo(show);
    QVERIFY(qInstallMessageHandler(tests) == show);
    passMessagesTo(nullptr);
    const QtMessageHandler usual = qInstallMessageHandler(nullptr);
    QVERIFY(usual != tests && usual != show);
    qInstallMessageHandler(handleBefore); // stays
}

void LogMessagesTest::noteWithoutALogFileIsNone()
{
    logNote(QStringLiteral("nothing"));
    reportLogFile();
    QCOMPARE(before, QStringList());
}

void LogMessagesTest::messagesGoOnToWhereTheyWent()
{
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("here")));
    startLogFile(path());
    QVERIFY(hasLogFile());
    qDebug("one");
    QCOMPARE(take(), QStringList(QStringLiteral("window debug    one")));
    qInfo("two");
    qWarning("three");
    qCritical("four");
    QCOMPARE(take(),
             QStringList({QStringLiteral("window info     two"), QStringLiteral("window warning  three"),
                          QStringLiteral("window critical four")}));
    QCOMPARE(std::exchange(before, {}),
             QStringList({QStringLiteral("0 default one"), QStringLiteral("4 default two"),
                          QStringLiteral("1 default three"), QStringLiteral("2 default four")}));
}

void LogMessagesTest::messagesGoOnToTheTrace()
{
    passMessagesTo(show);
    qDebug("to the trace");
    QCOMPARE(std::exchange(shown, {}), QStringList(QStringLiteral("0 to the trace")));
    passMessagesTo(nullptr);
    qDebug("as before");
    QCOMPARE(shown, QStringList());
    QCOMPARE(std::exchange(before, {}), QStringList(QStringLiteral("0 default as before")));
    QCOMPARE(take(), QStringList({QStringLiteral("window debug    to the trace"),
                                  QStringLiteral("window debug    as before")}));
}

void LogMessagesTest::notesAreInTheFileAlone()
{
    passMessagesTo(show);
    logNote(QStringLiteral("a note"));
    passMessagesTo(nullptr);
    logNote(QStringLiteral("another"));
    QCOMPARE(shown + before, QStringList());
    QCOMPARE(take(), QStringList({QStringLiteral("window info     a note"),
                                  QStringLiteral("window info     another")}));
}

void LogMessagesTest::threadsAreNamed()
{
    const std::unique_ptr<QThread> loader(QThread::create([] {
        qDebug("message");
        logNote(QStringLiteral("note"));
    }));
    loader->start();
    QVERIFY(loader->wait());
    QCOMPARE(take(), QStringList({QStringLiteral("loader debug    message"),
                                  QStringLiteral("loader info     note")}));
    QCOMPARE(std::exchange(before, {}), QStringList(QStringLiteral("0 default message")));
}

void LogMessagesTest::aFileThatCannotBeWrittenIsReportedOnce()
{
    QVERIFY(QDir(folder.path()).rename(QStringLiteral("here"), QStringLiteral("there")));
    logNote(QStringLiteral("lost"));
    QCOMPARE(before.size(), 1);
    const QString problem = before.takeFirst();
    QVERIFY2(
        problem.startsWith(QStringLiteral("1 default options/log_file: %1 cannot be written: ").arg(path())),
        qPrintable(problem));
    qDebug("lost, too");
    QCOMPARE(std::exchange(before, {}), QStringList(QStringLiteral("0 default lost, too")));

    // The trace is switched on later.
    passMessagesTo(show);
    reportLogFile();
    QCOMPARE(std::exchange(shown, {}), QStringList(QString(problem).remove(QStringLiteral(" default"))));
    passMessagesTo(nullptr);
    QCOMPARE(before, QStringList());
}

void LogMessagesTest::linesGoOnWhenTheFileCanBeWritten()
{
    QVERIFY(QDir(folder.path()).rename(QStringLiteral("there"), QStringLiteral("here")));
    qDebug("again");
    QCOMPARE(take(), QStringList(QStringLiteral("window debug    again")));
    QCOMPARE(std::exchange(before, {}), QStringList(QStringLiteral("0 default again")));
    reportLogFile();
    QCOMPARE(before, QStringList());
}

void LogMessagesTest::aSecondFileIsNotBegun()
{
    const QString second = folder.filePath(QStringLiteral("second.log"));
    startLogFile(second);
    qDebug("once");
    QCOMPARE(take(), QStringList(QStringLiteral("window debug    once")));
    QCOMPARE(std::exchange(before, {}), QStringList(QStringLiteral("0 default once")));
    QVERIFY(!QFile::exists(second));
}

QTEST_GUILESS_MAIN(LogMessagesTest)
#include "tst_logmessages.moc"
