// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "tests/trace/tracedialog.h"

#include <QTemporaryDir>

/// Messages with more in them than plain letters: what the dialog shows, and what a saved file holds.
class TraceTextTest : public TestCase
{
    Q_OBJECT

private slots:
    void shownAndSaved_data();
    void shownAndSaved();
};

void TraceTextTest::shownAndSaved_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("shown");

    const auto row = [](const char *name, const QString &message, const QString &shown,
                        QtMsgType type = QtDebugMsg) {
        QTest::newRow(name) << static_cast<int>(type) << message << shown;
    };
    const auto asItStands = [&row](const char *name, const QString &message) { row(name, message, message); };

    row("markup is rendered", QStringLiteral("<b>bold</b> and <i>slanted</i>"),
        QStringLiteral("bold and slanted"));
    row("markup in a warning", QStringLiteral("<b>bold</b>"), QStringLiteral("— WARNING: bold"),
        QtWarningMsg);
    row("a break in markup", QStringLiteral("one<br/>two"), QStringLiteral("one\ntwo"));
    row("entities in markup", QStringLiteral("<b>1 &lt; 2</b>"), QStringLiteral("1 < 2"));
    row("entities alone", QStringLiteral("1 &lt; 2 &amp; 3"), QStringLiteral("1 < 2 & 3"));
    asItStands("brackets that are no markup", QStringLiteral("--> 50|15 < 3 > 2"));
    asItStands("line break", QStringLiteral("one\ntwo"));
    asItStands("line break at the end", QStringLiteral("one\n"));
    asItStands("line breaks alone", QStringLiteral("\n\n"));
    row("a printer's line break", QStringLiteral("one\r\ntwo"), QStringLiteral("one\ntwo"));
    asItStands("tab", QStringLiteral("one\ttwo"));
    asItStands("Cyrillic", QStringLiteral("Прошивка загружена"));
    row("Cyrillic, critical", QStringLiteral("Порт занят"), QStringLiteral("— CRITICAL: Порт занят"),
        QtCriticalMsg);
    asItStands("Chinese and Japanese", QStringLiteral("固件更新 ファームウェア"));
    asItStands("right to left", QStringLiteral("עדכון קושחה"));
    asItStands("beyond 16 bits", QStringLiteral("𝄞 🔧"));
    asItStands("zero byte", QStringLiteral("one\0two"));
    asItStands("zero byte at the end", QStringLiteral("one\0"));
}

void TraceTextTest::shownAndSaved()
{
    QFETCH(const int, type);
    QFETCH(const QString, message);
    QFETCH(const QString, shown);
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("trace.txt"));
    Trace trace;
    trace.dialog.outputMessage(static_cast<QtMsgType>(type), message);
    QCOMPARE(trace.text(), shown);
    trace.log("after");
    QCOMPARE(trace.text(), shown + QStringLiteral("\nafter"));

    const SaveChoice choice(file);
    trace.dialog.save();
    QCOMPARE(contentOf(file), (shown + QStringLiteral("\nafter")).toUtf8());
}

QTEST_MAIN(TraceTextTest)
#include "tst_tracetext.moc"
