// SPDX-License-Identifier: MIT
#include "log/logline.h"
#include "tests/support/testcase.h"

#include <QTimeZone>

/// What a line of the log file looks like.
class LogLineTest : public TestCase
{
    Q_OBJECT

private slots:
    void lines_data();
    void lines();
    void times_data();
    void times();
    void localTimeHasItsOffset();
};

void LogLineTest::lines_data()
{
    QTest::addColumn<bool>("isWindow");
    QTest::addColumn<QtMsgType>("level");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("line"); // behind the time

    const auto row = [](const char *name, bool isWindow, QtMsgType level, const QString &text,
                        const QByteArray &line) { QTest::newRow(name) << isWindow << level << text << line; };
    row("debug", false, QtDebugMsg, QStringLiteral("44 bytes written..."),
        "loader debug    44 bytes written...\n");
    row("info", true, QtInfoMsg, QStringLiteral("text"), "window info     text\n");
    row("warning", true, QtWarningMsg, QStringLiteral("text"), "window warning  text\n");
    row("critical", true, QtCriticalMsg, QStringLiteral("text"), "window critical text\n");
    row("fatal", false, QtFatalMsg, QStringLiteral("text"), "loader fatal    text\n");
    row("no text", true, QtDebugMsg, QString(), "window debug    \n");
    row("beyond ASCII", true, QtDebugMsg, QString::fromUtf8("Zugriff verweigert: Gerät \xF0\x9F\x94\x8C"),
        "window debug    Zugriff verweigert: Ger\xC3\xA4t \xF0\x9F\x94\x8C\n");
    row("several lines", true, QtDebugMsg, QStringLiteral("Frame incomplete (sz=1)\n\r\nend"),
        "window debug    Frame incomplete (sz=1)\xE2\x90\x8A\xE2\x90\x8D\xE2\x90\x8A"
        "end\n");
    row("line ends of Unicode's", true, QtDebugMsg,
        QString::fromUtf8("a\xC2\x85"
                          "b\xE2\x80\xA8"
                          "c\xE2\x80\xA9"
                          "d"),
        "window debug    a\xE2\x90\xA4"
        "b\xE2\x90\xA4"
        "c\xE2\x90\xA4"
        "d\n");
    row("control characters", true, QtDebugMsg, QString::fromLatin1("a\0b\x1b\x7f\tc", 7),
        "window debug    a\xE2\x90\x80"
        "b\xE2\x90\x9B\xE2\x90\xA1\xE2\x90\x89"
        "c\n");
    row("blanks and backslashes", true, QtDebugMsg, QStringLiteral("  C:\\new  \"x\" "),
        "window debug      C:\\new  \"x\" \n");
}

void LogLineTest::lines()
{
    QFETCH(const bool, isWindow);
    QFETCH(const QtMsgType, level);
    QFETCH(const QString, text);
    QFETCH(const QByteArray, line);
    const QDateTime time(QDate(2026, 11, 22), QTime(10, 28, 31, 7), Qt::UTC);
    const LogThread thread = isWindow ? LogThread::Window : LogThread::Loader;
    QCOMPARE(logLine(time, thread, level, text), "2026-11-22T10:28:31.007+00:00 " + line);
}

void LogLineTest::times_data()
{
    QTest::addColumn<int>("offsetS");
    QTest::addColumn<QByteArray>("time");
    QTest::newRow("at Greenwich") << 0 << QByteArray("2026-11-22T10:28:31.123+00:00");
    QTest::newRow("east of it") << 3600 << QByteArray("2026-11-22T10:28:31.123+01:00");
    QTest::newRow("west of it") << -12600 << QByteArray("2026-11-22T10:28:31.123-03:30");
}

void LogLineTest::times()
{
    QFETCH(const int, offsetS);
    QFETCH(const QByteArray, time);
    const QDateTime there(QDate(2026, 11, 22), QTime(10, 28, 31, 123), Qt::OffsetFromUTC, offsetS);
    QCOMPARE(logLine(there, LogThread::Window, QtInfoMsg, QStringLiteral("x")),
             time + " window info     x\n");
}

void LogLineTest::localTimeHasItsOffset()
{
    qputenv("TZ", "IST-5:30"); // as POSIX writes it, which Windows understands, too
    const QDateTime local(QDate(2026, 7, 1), QTime(23, 59, 59, 999));
    QCOMPARE(logLine(local, LogThread::Loader, QtDebugMsg, QStringLiteral("x")),
             QByteArray("2026-07-01T23:59:59.999+05:30 loader debug    x\n"));
}

QTEST_GUILESS_MAIN(LogLineTest)
#include "tst_logline.moc"
