// SPDX-License-Identifier: MIT
#include "trace/logbrowserdialog.h"

#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"
#include "tests/trace/tracedialog.h"

#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QMetaMethod>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QVBoxLayout>

/// The trace dialog: what it shows, clears and saves.
class LogBrowserDialogTest : public TestCase
{
    Q_OBJECT

private slots:
    void theSlotsInTheirOrder();
    void theWindow();
    void theLayout();
    void theButtons();
    void theStyleSheetIsCopiedOnce();

    void messages_data();
    void messages();
    void eachMessageIsAParagraph();
    void markupIsRendered();
    void clearing();
    void theTextCannotBeEdited();
    void closingKeepsTheText();
    void theSlotTogglesTheDialog();

    void theSaveDialog();
    void theSaveDialogForgetsTheNameBefore();
    void saving_data();
    void saving();
    void savingOverAFileReplacesIt();
    void savingAfterClearingMakesAnEmptyFile();
    void cancellingSavesNothing();
    void aFileThatCannotBeWritten_data();
    void aFileThatCannotBeWritten();
};

void LogBrowserDialogTest::theSlotsInTheirOrder()
{
    const QMetaObject &meta = LogBrowserDialog::staticMetaObject;
    QByteArrayList signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        signatures += meta.method(i).methodSignature();
    }
    QCOMPARE(signatures, QByteArrayList({"outputMessage(QtMsgType,QString)", "save()", "keyCtrlDPressed()"}));
}

void LogBrowserDialogTest::theWindow()
{
    const Trace trace;
    QCOMPARE(trace.dialog.windowTitle(), QStringLiteral("Trace"));
    QCOMPARE(trace.dialog.windowType(), Qt::Tool);
    QCOMPARE(trace.dialog.geometry(), QRect(300, 300, 300, 300));
    QVERIFY(trace.dialog.isHidden());
    QVERIFY(!trace.dialog.isModal());
    QVERIFY(!trace.dialog.parent());
    QCOMPARE(trace.text(), QString());
}

void LogBrowserDialogTest::theLayout()
{
    const Trace trace;
    const auto *const rows = qobject_cast<QVBoxLayout *>(trace.dialog.layout());
    QVERIFY(rows);
    QCOMPARE(rows->count(), 2);
    QCOMPARE(rows->itemAt(0)->widget(), &trace.browser());
    QCOMPARE(rows->stretch(0), 0);
    QCOMPARE(rows->stretch(1), 0);
    const auto *const buttons = qobject_cast<QHBoxLayout *>(rows->itemAt(1)->layout());
    QVERIFY(buttons);
    QCOMPARE(buttons->contentsMargins(), QMargins());
    QCOMPARE(buttons->count(), 3);
    QVERIFY(buttons->itemAt(0)->spacerItem());
    QCOMPARE(buttons->stretch(0), 10);
    QCOMPARE(buttons->itemAt(1)->widget(), &trace.button(QStringLiteral("Clear")));
    QCOMPARE(buttons->itemAt(2)->widget(), &trace.button(QStringLiteral("Save Trace")));
}

void LogBrowserDialogTest::theButtons()
{
    const Trace trace;
    for (const char *const text : {"Clear", "Save Trace"}) {
        const QPushButton &button = trace.button(QString::fromLatin1(text));
        QCOMPARE(button.parent(), &trace.dialog);
        QCOMPARE(button.property("configButton"), QVariant(true));
    }
}

void LogBrowserDialogTest::theStyleSheetIsCopiedOnce()
{
    QWidget window;
    const QString sheet = QStringLiteral("QPushButton[configButton=\"true\"] { color: red; }");
    window.setStyleSheet(sheet);
    const LogBrowserDialog dialog(&window, nullptr);
    QCOMPARE(dialog.styleSheet(), sheet);
    window.setStyleSheet(QString());
    QCOMPARE(dialog.styleSheet(), sheet);
}

void LogBrowserDialogTest::messages_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("shown");
    const QString busy = QStringLiteral("port busy");
    const QString placeholders = QStringLiteral("%1 of %2");
    const QString blanks = QStringLiteral("two  blanks");
    QTest::newRow("debug") << 0 << busy << busy;
    QTest::newRow("warning") << 1 << busy << QStringLiteral("— WARNING: port busy");
    QTest::newRow("critical") << 2 << busy << QStringLiteral("— CRITICAL: port busy");
    QTest::newRow("fatal") << 3 << busy << QStringLiteral("— FATAL: port busy");
    QTest::newRow("info") << 4 << busy << busy;
    QTest::newRow("5 is no type") << 5 << busy << QString();
    QTest::newRow("7 is no type") << 7 << busy << QString();
    QTest::newRow("placeholders, debug") << 0 << placeholders << placeholders;
    QTest::newRow("placeholders, warning") << 1 << placeholders << QStringLiteral("— WARNING: %1 of %2");
    QTest::newRow("blanks") << 4 << blanks << blanks;
    QTest::newRow("several lines") << 0 << QStringLiteral("one\ntwo") << QStringLiteral("one\ntwo");
    QTest::newRow("foreign letters") << 2 << QStringLiteral("Gerät €")
                                     << QStringLiteral("— CRITICAL: Gerät €");
    QTest::newRow("empty warning") << 1 << QString() << QStringLiteral("— WARNING: ");
}

void LogBrowserDialogTest::messages()
{
    QFETCH(const int, type);
    QFETCH(const QString, message);
    Trace trace;
    trace.dialog.outputMessage(static_cast<QtMsgType>(type), message);
    QTEST(trace.text(), "shown");
}

void LogBrowserDialogTest::eachMessageIsAParagraph()
{
    Trace trace;
    trace.log("one");
    trace.dialog.outputMessage(static_cast<QtMsgType>(6), QStringLiteral("unseen"));
    trace.log("two");
    trace.log("");
    trace.log("three");
    QCOMPARE(trace.text(), QStringLiteral("one\ntwo\n\nthree"));
    QCOMPARE(trace.browser().document()->blockCount(), 4);
}

void LogBrowserDialogTest::markupIsRendered()
{
    Trace trace;
    trace.log("<b>bold</b> words");
    QCOMPARE(trace.text(), QStringLiteral("bold words"));
    trace.browser().clear();
    trace.log("1 < 2");
    QCOMPARE(trace.text(), QStringLiteral("1 < 2"));
}

void LogBrowserDialogTest::clearing()
{
    Trace trace;
    trace.log("one");
    trace.button(QStringLiteral("Clear")).click();
    QCOMPARE(trace.text(), QString());
    trace.log("two");
    QCOMPARE(trace.text(), QStringLiteral("two"));
}

void LogBrowserDialogTest::theTextCannotBeEdited()
{
    Trace trace;
    trace.log("one");
    QTest::keyClicks(&trace.browser(), QStringLiteral("typed"));
    QCOMPARE(trace.text(), QStringLiteral("one"));
}

void LogBrowserDialogTest::closingKeepsTheText()
{
    Trace trace;
    trace.dialog.show();
    trace.log("one");
    QTest::keyClick(&trace.dialog, Qt::Key_Escape);
    QVERIFY(trace.dialog.isHidden());
    trace.log("two");
    trace.dialog.show();
    QVERIFY(trace.dialog.close());
    trace.log("three");
    trace.dialog.show();
    QCOMPARE(trace.text(), QStringLiteral("one\ntwo\nthree"));
}

void LogBrowserDialogTest::theSlotTogglesTheDialog()
{
    Trace trace;
    trace.dialog.keyCtrlDPressed();
    QVERIFY(trace.dialog.isVisible());
    trace.dialog.keyCtrlDPressed();
    QVERIFY(trace.dialog.isHidden());
}

void LogBrowserDialogTest::theSaveDialog()
{
    Trace trace;
    ModalWatch<QFileDialog> watch([&](const QFileDialog &dialog) {
        QCOMPARE(dialog.parent(), &trace.dialog);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Save Log Output"));
        QCOMPARE(dialog.selectedFiles(), QStringList({QDir::homePath() + QStringLiteral("/logfile.txt")}));
        QCOMPARE(dialog.nameFilters(),
                 QStringList({QStringLiteral("Text Files ('''.txt)"), QStringLiteral("All Files (*)")}));
        QCOMPARE(dialog.acceptMode(), QFileDialog::AcceptSave);
        QCOMPARE(dialog.options(), QFileDialog::Options());
    });
    trace.button(QStringLiteral("Save Trace")).click();
    QCOMPARE(watch.count(), 1);
}

void LogBrowserDialogTest::theSaveDialogForgetsTheNameBefore()
{
    const QTemporaryDir folder;
    Trace trace;
    {
        const SaveChoice choice(folder.filePath(QStringLiteral("other.txt")));
        trace.dialog.save();
    }
    ModalWatch<QFileDialog> watch([](const QFileDialog &dialog) {
        QCOMPARE(dialog.selectedFiles(), QStringList({QDir::homePath() + QStringLiteral("/logfile.txt")}));
    });
    trace.dialog.save();
    QCOMPARE(watch.count(), 1);
}

void LogBrowserDialogTest::saving_data()
{
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("nothing") << QStringList() << QByteArray();
    QTest::newRow("one line") << QStringList({QStringLiteral("one")}) << QByteArray("one");
    QTest::newRow("two lines") << QStringList({QStringLiteral("one"), QStringLiteral("two")})
                               << QByteArray("one\ntwo");
    QTest::newRow("foreign letters") << QStringList({QStringLiteral("Gerät €")}) << QByteArray("Gerät €");
    QTest::newRow("rendered markup") << QStringList({QStringLiteral("<b>bold</b>")}) << QByteArray("bold");
}

void LogBrowserDialogTest::saving()
{
    QFETCH(const QStringList, messages);
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("trace.txt"));
    Trace trace;
    for (const QString &message : messages)
        trace.dialog.outputMessage(QtDebugMsg, message);
    const SaveChoice choice(file);
    trace.button(QStringLiteral("Save Trace")).click();
    QCOMPARE(choice.count(), 1);
    QTEST(contentOf(file), "content");
    QVERIFY(!QApplication::activeModalWidget());
}

void LogBrowserDialogTest::savingOverAFileReplacesIt()
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("trace.txt"));
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(10000, 'x'));
    file.close();
    Trace trace;
    trace.log("one");
    const SaveChoice choice(name);
    const ModalWatch<QMessageBox> overwrite(
        [](const QMessageBox &box) { box.button(QMessageBox::Yes)->click(); });
    trace.dialog.save();
    QCOMPARE(overwrite.count(), 1);
    QCOMPARE(contentOf(name), QByteArray("one"));
}

void LogBrowserDialogTest::savingAfterClearingMakesAnEmptyFile()
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("trace.txt"));
    Trace trace;
    trace.log("one");
    trace.button(QStringLiteral("Clear")).click();
    const SaveChoice choice(name);
    trace.dialog.save();
    QVERIFY(QFile::exists(name));
    QCOMPARE(contentOf(name), QByteArray());
}

void LogBrowserDialogTest::cancellingSavesNothing()
{
    Trace trace;
    trace.log("one");
    const MessageBoxes boxes;
    const SaveChoice choice{QString()};
    trace.dialog.save();
    QCOMPARE(choice.count(), 1);
    QVERIFY(boxes.contents().isEmpty());
    QCOMPARE(trace.text(), QStringLiteral("one"));
}

void LogBrowserDialogTest::aFileThatCannotBeWritten_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("nothing may be written there") << QStringLiteral("/proc/self/trace.txt");
    QTest::newRow("placeholders in its name") << QStringLiteral("/proc/self/%1 %2.txt");
    QTest::newRow("no such folder") << QStringLiteral("/no such folder/trace.txt");
}

void LogBrowserDialogTest::aFileThatCannotBeWritten()
{
    QFETCH(const QString, name);
    Trace trace;
    trace.log("one");
    const MessageBoxes boxes;
    const SaveChoice choice(name);
    trace.dialog.save();
    QCOMPARE(boxes.contents().size(), 1);
    const MessageBoxes::Content &box = boxes.contents().constFirst();
    QCOMPARE(box.title, QStringLiteral("Error"));
    QCOMPARE(box.text, QStringLiteral("<nobr>File '") + name +
                           QStringLiteral("'<br/>cannot be opened for writing.<br/><br/>"
                                          "The log output could <b>not</b> be saved!</nobr>"));
    QCOMPARE(box.icon, QMessageBox::Warning);
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(box.parent, &trace.dialog);
    QCOMPARE(trace.text(), QStringLiteral("one"));
}

QTEST_MAIN(LogBrowserDialogTest)
#include "tst_logbrowserdialog.moc"
