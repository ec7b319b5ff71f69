// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"
#include "trace/logbrowser.h"

/// The trace's hot keys: the one that is always there, and the one that the settings file adds.
class TraceKeyTest : public TestCase
{
    Q_OBJECT

private slots:
    void keys_data();
    void keys();

private:
    static void press(const WindowBench &bench, QKeyCombination keys);
};

void TraceKeyTest::press(const WindowBench &bench, QKeyCombination keys)
{
    QTest::keyClick(&bench.window(), keys.key(), keys.keyboardModifiers());
}

void TraceKeyTest::keys_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<bool>("worksToo"); // Ctrl+F12 does, beside Control+Shift+]
    QTest::newRow("none") << QString() << false;
    QTest::newRow("a second one") << QStringLiteral("Ctrl+F12") << true;
    QTest::newRow("the first one again") << QStringLiteral("Ctrl+Shift+]") << false;
    QTest::newRow("the first one as the keyboard writes it") << QStringLiteral("Ctrl+Shift+}") << false;
    QTest::newRow("refused") << QStringLiteral("Ctrl+Nothing") << false;
}

void TraceKeyTest::keys()
{
    QFETCH(const QString, option);
    QFETCH(const bool, worksToo);
    WindowBench bench;
    if (!option.isNull())
        bench.settings.setValue(QStringLiteral("options/trace_key"), option);
    bench.start();
    bench.window().show();
    bench.window().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&bench.window()));

    QVERIFY(!logHandlerInstalled);
    press(bench, Qt::CTRL | Qt::SHIFT | Qt::Key_BracketRight);
    QVERIFY(logHandlerInstalled);
    press(bench, Qt::CTRL | Qt::SHIFT | Qt::Key_BracketRight);
    QVERIFY(!logHandlerInstalled);
    press(bench, Qt::CTRL | Qt::Key_F12);
    QCOMPARE(logHandlerInstalled, worksToo);
    if (logHandlerInstalled)
        bench.window().logHotKeyPressed();
}

QTEST_MAIN(TraceKeyTest)
#include "tst_tracekey.moc"
