// SPDX-License-Identifier: MIT
#include "tests/system/systemtest.h"

#include <QTest>

using Role = Accessible::Role;
using State = Accessible::State;

namespace {

const QString InfraRed = QStringLiteral("InfraRed SUB-20");
const QString Modbus = QStringLiteral("Modbus SUB-20");
const QString Tab = QStringLiteral("Tab");
const QString Enter = QStringLiteral("Return");
const QString Space = QStringLiteral("space");
const QString TraceKeys = QStringLiteral("ctrl+shift+bracketright");

} // namespace

/// The program without a mouse, and with no more than a screen reader says.
class SystemKeyboard : public SystemTest
{
    Q_OBJECT

private slots:
    void wholeUpdate();
    void errorBoxClosesByEnterAndByEscape();
    void traceIsSavedClearedAndHidden();
    void menuWithoutConnectionsKeepsNothing();

private:
    Accessible traceWindow() const { return program().window(QStringLiteral("Trace")); }
    Accessible trace() const { return traceWindow().first(Role::Label); }
    /// Opens the menu and goes down to the connection.
    void chooseByKeys(const QString &connection) const;
    /// Brings the other window to the front, as the keys of the desktop do.
    void switchTo(const Accessible &window) const;
    /// Goes on with Tab until the control has the keyboard.
    void tabTo(const Accessible &control) const;
};

void SystemKeyboard::chooseByKeys(const QString &connection) const
{
    program().press(QStringLiteral("Alt_L"));
    program().press(QStringLiteral("Down"));
    const QStringList entries = program().connections();
    for (const QString &name : entries) {
        const Accessible entry = program().connectionMenu().first(Role::MenuItem, name);
        QTRY_VERIFY(entry.is(State::Showing) && entry.is(State::Focused));
        if (name == connection)
            break;
        program().press(QStringLiteral("Down"));
    }
    program().press(Enter);
    QTRY_COMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + connection);
}

void SystemKeyboard::switchTo(const Accessible &window) const
{
    QTRY_VERIFY(traceWindow().is(State::Active) || program().mainWindow().is(State::Active));
    if (!window.is(State::Active))
        program().press(QStringLiteral("alt+Tab"));
    QTRY_VERIFY(window.is(State::Active));
}

void SystemKeyboard::tabTo(const Accessible &control) const
{
    constexpr int MostControls = 5;
    constexpr int MomentMs = 1000;
    for (int i = 0; i < MostControls; ++i) {
        if (QTest::qWaitFor([&] { return control.is(State::Focused); }, i == 0 ? 0 : MomentMs))
            return;
        program().press(Tab);
    }
    QTRY_VERIFY2(control.is(State::Focused), qPrintable(control.name()));
}

void SystemKeyboard::wholeUpdate()
{
    constexpr double Full = 100;
    const QByteArray image = makeImage(100 * RecordSize);
    setAdapters(1);
    const QString received = filePath(QStringLiteral("received"));
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_RS_IMAGE"), received);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_RS_TIME"), QStringLiteral("30"));
    startProgram();
    QCOMPARE(program().checkedConnections(), QStringList(InfraRed));

    chooseByKeys(Modbus);
    const Accessible address = program().mainWindow().first(Role::SpinBox, QStringLiteral("Address:"));
    tabTo(address);
    program().press(QStringLiteral("ctrl+a"));
    program().type(QStringLiteral("51"));
    QTRY_COMPARE(address.text(), QStringLiteral("0x51"));
    program().press(QStringLiteral("Down"));
    QTRY_COMPARE(address.text(), QStringLiteral("0x50"));

    tabTo(program().loadButton());
    program().press(Space);
    program().answerFileDialog(QStringLiteral("Open firmware image"), imageFile());
    QTRY_COMPARE(program().mainWindow().first(Role::Text, QStringLiteral("Firmware image")).text(),
                 imageFile());

    tabTo(program().updateButton());
    program().press(Space);
    const Accessible bar = program().mainWindow().first(Role::ProgressBar, QStringLiteral("Update progress"));
    QTRY_VERIFY(bar.value() > bar.lowest());
    QTRY_VERIFY(bar.description().startsWith(QStringLiteral("Elapsed time: 00:0")));
    QVERIFY(program().isUpdating() && program().updateButton().is(State::Focused));
    program().press(Space);
    QTRY_VERIFY(program().isIdle() && program().percent() == 0);
    QVERIFY(readFile(received).size() < image.size());

    program().press(Space);
    QTRY_VERIFY(program().isUpdating());
    waitForEndOfUpdate();
    QCOMPARE(program().percent(), Full);
    QCOMPARE(bar.description(), QString());
    QCOMPARE(readFile(received), image);
}

void SystemKeyboard::errorBoxClosesByEnterAndByEscape()
{
    const QString text = QStringLiteral("Can't open SUB-20");
    rememberImage(RecordSize);
    setAdapters(1);
    startProgram();
    chooseByKeys(Modbus);
    setAdapters(0);
    tabTo(program().updateButton());
    for (const QString &key : {Enter, QStringLiteral("Escape"), Space}) {
        program().press(Space);
        QTRY_VERIFY(!program().box().isNull());
        const Accessible box = program().box();
        QCOMPARE(box.name() + box.description(), QStringLiteral("Error:") + text);
        QTRY_VERIFY(box.first(Role::PushButton, QStringLiteral("Close")).is(State::Focused));
        program().press(key);
        QTRY_VERIFY(program().box().isNull());
        QTRY_VERIFY(program().isIdle() && program().updateButton().is(State::Focused));
    }
}

void SystemKeyboard::traceIsSavedClearedAndHidden()
{
    const QString line = imageFile();
    makeImage(RecordSize);
    startProgram();
    program().press(TraceKeys);
    QTRY_VERIFY(!traceWindow().isNull());
    switchTo(program().mainWindow());
    tabTo(program().loadButton());
    program().press(Space);
    program().answerFileDialog(QStringLiteral("Open firmware image"), imageFile());
    QTRY_COMPARE(trace().text(), line);
    QCOMPARE(trace().name(), QStringLiteral("Log messages"));

    switchTo(traceWindow());
    tabTo(traceWindow().first(Role::PushButton, QStringLiteral("Save Trace")));
    program().press(Space);
    program().answerFileDialog(QStringLiteral("Save Log Output"), filePath(QStringLiteral("trace.txt")));
    QTRY_COMPARE(readFile(filePath(QStringLiteral("trace.txt"))), line.toUtf8());
    switchTo(traceWindow());
    tabTo(traceWindow().first(Role::PushButton, QStringLiteral("Clear")));
    program().press(Space);
    QTRY_COMPARE(trace().text(), QString());
    program().press(QStringLiteral("Escape"));
    QTRY_VERIFY(traceWindow().isNull());
}

void SystemKeyboard::menuWithoutConnectionsKeepsNothing()
{
    startProgram();
    QVERIFY(!program().connectionMenu().is(State::Enabled));
    tabTo(program().fileField());
    program().press(QStringLiteral("Alt_L"));
    program().press(QStringLiteral("Down"));
    program().press(QStringLiteral("Escape"));
    tabTo(program().fileField());
    program().type(QStringLiteral("panel"));
    QTRY_COMPARE(program().fileField().text(), QStringLiteral("panel"));
}

QTEST_MAIN(SystemKeyboard)
#include "tst_keyboard.moc"
