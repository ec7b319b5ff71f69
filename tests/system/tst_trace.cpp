// SPDX-License-Identifier: MIT
#include "tests/system/systemtest.h"

#include <QFile>
#include <QImage>
#include <QTest>

using Role = Accessible::Role;
using State = Accessible::State;

namespace {

const QString HotKey = QStringLiteral("ctrl+shift+bracketright");
const QString SaveDialog = QStringLiteral("Save Log Output");

} // namespace

/// The trace window and the hot key that belongs to it.
class SystemTrace : public SystemTest
{
    Q_OBJECT

private slots:
    void hotKeyShowsAndHidesTheTrace();
    void hotKeyWorksInTheTraceWindow();
    void aSecondHotKeyDoesTheSame();
    void closedTraceGoesOnUnseen();
    void traceOfAnUpdate();
    void traceGoesWithItsWindow();
    void traceIsSavedAndCleared();
    void traceThatCannotBeSavedIsReported();

private:
    Accessible traceWindow() const { return program().window(QStringLiteral("Trace")); }
    QString trace() const { return traceWindow().first(Role::Label).text(); }
    Accessible fileNameField() const
    {
        return program().window(SaveDialog).first(Role::Text, QStringLiteral("File name:"));
    }
    void clickInTrace(const QString &button) const
    {
        program().click(traceWindow().first(Role::PushButton, button));
    }
    void showTrace() const;
    /// Has the program log the name of an image file, which its dialog is given.
    QString logLine(const QString &name) const;
};

void SystemTrace::showTrace() const
{
    program().press(HotKey);
    QTRY_VERIFY(traceWindow().is(State::Showing));
}

QString SystemTrace::logLine(const QString &name) const
{
    const QString file = filePath(name);
    writeFile(file, {});
    program().raise(program().mainWindow());
    chooseImage(file);
    return file;
}

void SystemTrace::hotKeyShowsAndHidesTheTrace()
{
    startProgram();
    const QString before = logLine(QStringLiteral("before"));
    QTRY_VERIFY(program().printed().contains(before));
    QVERIFY(traceWindow().isNull());

    showTrace();
    const QString during = logLine(QStringLiteral("during"));
    QTRY_COMPARE(trace(), during);
    QVERIFY(!program().printed().contains(during));

    program().press(HotKey);
    QTRY_VERIFY(traceWindow().isNull());
    const QString after = logLine(QStringLiteral("after"));
    QTRY_VERIFY(program().printed().contains(after));
    showTrace();
    QCOMPARE(trace(), during);
}

void SystemTrace::hotKeyWorksInTheTraceWindow()
{
    startProgram();
    showTrace();
    program().raise(traceWindow());
    program().press(HotKey);
    QTRY_VERIFY(traceWindow().isNull());
}

void SystemTrace::aSecondHotKeyDoesTheSame()
{
    const QString second = QStringLiteral("ctrl+F12");
    settings().setValue(QStringLiteral("options/trace_key"), QStringLiteral("Ctrl+F12"));
    startProgram();
    program().raise(program().mainWindow());
    program().press(second);
    QTRY_VERIFY(traceWindow().is(State::Showing));
    program().raise(traceWindow());
    program().press(second);
    QTRY_VERIFY(traceWindow().isNull());
    showTrace();
    program().press(HotKey);
    QTRY_VERIFY(traceWindow().isNull());
}

// The hot key turns the handler and the window over, each by its own state.
void SystemTrace::closedTraceGoesOnUnseen()
{
    startProgram();
    showTrace();
    program().raise(traceWindow());
    program().press(QStringLiteral("alt+F4"));
    QTRY_VERIFY(traceWindow().isNull());
    const QString unseen = logLine(QStringLiteral("unseen"));
    QVERIFY(!program().printed().contains(unseen));

    showTrace();
    QTRY_COMPARE(trace(), unseen);
    const QString printed = logLine(QStringLiteral("printed"));
    QTRY_VERIFY(program().printed().contains(printed));
    QCOMPARE(trace(), unseen);

    program().press(HotKey);
    QTRY_VERIFY(traceWindow().isNull());
    const QString unseenAgain = logLine(QStringLiteral("unseen again"));
    showTrace();
    QTRY_COMPARE(trace(), unseen + u'\n' + unseenAgain);
    QVERIFY(!program().printed().contains(unseenAgain));
}

void SystemTrace::traceOfAnUpdate()
{
    constexpr qsizetype Records = 5;
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(Records * RecordSize);
    startProgram();
    showTrace();
    program().raise(program().mainWindow());
    pressUpdateButton();
    const QStringList lines(Records, QStringLiteral("44 bytes written..."));
    QTRY_COMPARE(trace(), lines.join(u'\n'));
    waitForEndOfUpdate();
}

// The program ends only when the loader has given up its silent panel.
void SystemTrace::traceGoesWithItsWindow()
{
    const QImage emptyDesktop = desktop->picture();
    const PanelProcess panel({QStringLiteral("--silent")});
    plugIn(panel);
    rememberImage(RecordSize);
    startProgram();
    showTrace();
    program().raise(program().mainWindow());
    pressUpdateButton();
    QTRY_COMPARE(trace(), QStringLiteral("44 bytes written..."));
    const QString executable = QStringLiteral("/proc/%1/exe").arg(program().processId());
    const auto runs = [&] { return !QFile::symLinkTarget(executable).isEmpty(); };
    QVERIFY(runs());
    program().press(QStringLiteral("alt+F4"));
    QTRY_VERIFY_WITH_TIMEOUT(desktop->picture() == emptyDesktop || !runs(), EndTimeoutMs);
    QVERIFY(runs());
    QCOMPARE(program().waitForEnd(EndTimeoutMs), ExitCodeOfSuccess);
}

void SystemTrace::traceIsSavedAndCleared()
{
    startProgram();
    showTrace();
    const QString first = logLine(QStringLiteral("first"));
    const QString second = logLine(QStringLiteral("second"));
    QTRY_COMPARE(trace(), first + u'\n' + second);
    program().raise(traceWindow());
    clickInTrace(QStringLiteral("Save Trace"));
    QTRY_COMPARE(fileNameField().text(), QStringLiteral("logfile.txt"));
    program().answerFileDialog(SaveDialog, filePath(QStringLiteral("trace.txt")));
    QTRY_COMPARE(readFile(filePath(QStringLiteral("trace.txt"))), (first + u'\n' + second).toUtf8());

    clickInTrace(QStringLiteral("Clear"));
    QTRY_COMPARE(trace(), QString());
    clickInTrace(QStringLiteral("Save Trace"));
    QTRY_VERIFY(fileNameField().is(State::Focused));
    program().press(QStringLiteral("Return"));
    const QString proposed =
        desktop->environment().value(QStringLiteral("HOME")) + QStringLiteral("/logfile.txt");
    QTRY_VERIFY(QFile::exists(proposed));
    QCOMPARE(readFile(proposed), QByteArray());
    QCOMPARE(program().boxTexts(), QStringList());
}

void SystemTrace::traceThatCannotBeSavedIsReported()
{
    // Not even the system's administrator can write through a link that leads nowhere.
    const QString file = filePath(QStringLiteral("trace.txt"));
    QVERIFY(QFile::link(QStringLiteral("/no such folder/trace.txt"), file));
    startProgram();
    showTrace();
    program().raise(traceWindow());
    clickInTrace(QStringLiteral("Save Trace"));
    program().answerFileDialog(SaveDialog, file);
    QTRY_COMPARE(program().boxTexts(),
                 QStringList(QStringLiteral("File '%1'\ncannot be opened for writing.\n\n"
                                            "The log output could not be saved!")
                                 .arg(file)));
    program().closeBox();
}

QTEST_MAIN(SystemTrace)
#include "tst_trace.moc"
