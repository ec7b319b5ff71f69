// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

namespace {

const QString FileNameKey = QStringLiteral("settings/filename");

/// Chooses a file in the next file dialog; an empty name cancels it.
class FileChoice
{
public:
    explicit FileChoice(const QString &fileName)
        : watch([fileName](QFileDialog &dialog) {
              if (fileName.isEmpty()) {
                  dialog.reject();
                  return;
              }
              dialog.selectFile(fileName);
              QMetaObject::invokeMethod(&dialog, "accept");
          })
    {
    }

    int count() const { return watch.count(); }

private:
    ModalWatch<QFileDialog> watch;
};

void choose(const WindowBench &bench, const QString &fileName)
{
    const FileChoice choice(fileName);
    bench.widget<QPushButton>("loadImg")->click();
    QCOMPARE(choice.count(), 1);
}

} // namespace

/// The choice of an image file, and what an upload takes of it.
class ImageChoiceTest : public TestCase
{
    Q_OBJECT

private slots:
    void theDialog();
    void aChosenFileIsShownAndStoredAtOnce();
    void theStoredNameIsLoggedAsItStands();
    void theDialogOpensWhereItDidAtTheStart();
    void theFirstChoiceLeavesTheStartFolderUnset();
    void cancellingForgetsTheNameButShowsIt();
    void startingAfterCancellingFailsToOpenNoName();
    void cancellingEnablesTheButtonEvenWithoutName();
    void startingWithoutImage();
    void clearingTheFieldDisablesTheButton();
    void typingDoesNotEnableTheButton();
    void aRefreshLooksAtTheField();
};

void ImageChoiceTest::theDialog()
{
    WindowBench bench;
    bench.settings.setValue(FileNameKey, bench.makeImage("image"));
    bench.start();
    ModalWatch<QFileDialog> watch([&](const QFileDialog &dialog) {
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Open firmware image"));
        QCOMPARE(dialog.nameFilters(), QStringList({QStringLiteral("*.INC")}));
        QCOMPARE(dialog.directory(), QDir(bench.path()));
        QCOMPARE(dialog.acceptMode(), QFileDialog::AcceptOpen);
        QCOMPARE(dialog.fileMode(), QFileDialog::ExistingFile);
        QCOMPARE(dialog.options(), QFileDialog::Options());
        QVERIFY(!dialog.parent());
    });
    bench.widget<QPushButton>("loadImg")->click();
    QCOMPARE(watch.count(), 1);
}

void ImageChoiceTest::aChosenFileIsShownAndStoredAtOnce()
{
    WindowBench bench;
    bench.start();
    const QString image = bench.makeImage("image");
    choose(bench, image);
    QCOMPARE(bench.probe().imageFileName(), image);
    QCOMPARE(bench.widget<QLineEdit>("lineEdit")->text(), image);
    QCOMPARE(bench.settings.value(FileNameKey), QVariant(image));
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
}

void ImageChoiceTest::theStoredNameIsLoggedAsItStands()
{
    WindowBench bench;
    bench.start();
    const QString slash = QDir::separator() == u'\\' ? QString() : QStringLiteral("back\\slash");
    const QString image =
        bench.makeImage("image", QStringLiteral("two  blanks %1 ") + slash + QStringLiteral(".INC"));
    const MessageLog log;
    choose(bench, image);
    QCOMPARE(log.texts(), QStringList({image}));
}

void ImageChoiceTest::theDialogOpensWhereItDidAtTheStart()
{
    WindowBench bench;
    bench.settings.setValue(FileNameKey, bench.makeImage("image"));
    bench.start();
    const QString elsewhere = bench.path() + QStringLiteral("/elsewhere");
    QVERIFY(QDir().mkpath(elsewhere));
    choose(bench, bench.makeImage("image", QStringLiteral("elsewhere/other.INC")));
    QCOMPARE(bench.probe().imageDirectory(), bench.path());
    ModalWatch<QFileDialog> watch(
        [&](const QFileDialog &dialog) { QCOMPARE(dialog.directory(), QDir(bench.path())); });
    bench.widget<QPushButton>("loadImg")->click();
    QCOMPARE(watch.count(), 1);
}

void ImageChoiceTest::theFirstChoiceLeavesTheStartFolderUnset()
{
    WindowBench bench;
    bench.start();
    choose(bench, bench.makeImage("image"));
    QCOMPARE(bench.probe().imageDirectory(), QString());
}

void ImageChoiceTest::cancellingForgetsTheNameButShowsIt()
{
    WindowBench bench;
    bench.start();
    const QString image = bench.makeImage("image");
    choose(bench, image);
    const MessageLog log;
    choose(bench, QString());
    QCOMPARE(bench.probe().imageFileName(), QString());
    QCOMPARE(bench.widget<QLineEdit>("lineEdit")->text(), image);
    QCOMPARE(bench.settings.value(FileNameKey), QVariant(image));
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
    QCOMPARE(log.texts(), QStringList());
}

void ImageChoiceTest::startingAfterCancellingFailsToOpenNoName()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(ModbusText, "image");
    choose(bench, QString());
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QTRY_COMPARE(boxes.informativeTexts(),
                 QStringList({QStringLiteral("Can't open image file  No such file or directory")}));
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(bench.buttonText(), QStringLiteral("Start Update"));
}

void ImageChoiceTest::cancellingEnablesTheButtonEvenWithoutName()
{
    WindowBench bench;
    bench.start();
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
    choose(bench, QString());
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
}

void ImageChoiceTest::startingWithoutImage()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start();
    choose(bench, QString());
    bench.widget<QProgressBar>("progressBar")->setValue(7);
    const MessageBoxes boxes;
    bench.press();
    QCOMPARE(boxes.informativeTexts(), QStringList({QStringLiteral("Image file not selected!")}));
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
    QCOMPARE(bench.buttonText(), QStringLiteral("Start Update"));
    QCOMPARE(bench.widget<QProgressBar>("progressBar")->value(), 7);
    QVERIFY(!bench.probe().sessionOpen());
    QCOMPARE(adapter.calls(QStringLiteral("sub_open")), QStringList());
}

void ImageChoiceTest::clearingTheFieldDisablesTheButton()
{
    WindowBench bench;
    bench.settings.setValue(FileNameKey, bench.makeImage("image"));
    bench.start();
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
    bench.widget<QLineEdit>("lineEdit")->clear();
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
}

void ImageChoiceTest::typingDoesNotEnableTheButton()
{
    WindowBench bench;
    bench.start();
    bench.widget<QLineEdit>("lineEdit")->setText(QStringLiteral("/some/panel.INC"));
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
    // Nor does it change what is sent.
    QCOMPARE(bench.probe().imageFileName(), QString());
}

void ImageChoiceTest::aRefreshLooksAtTheField()
{
    WindowBench bench;
    bench.start();
    bench.widget<QLineEdit>("lineEdit")->setText(QStringLiteral("/some/panel.INC"));
    bench.probe().refreshUpdateButton();
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
    bench.widget<QLineEdit>("lineEdit")->clear();
    bench.widget<QPushButton>("updBtn")->setEnabled(true);
    bench.probe().refreshUpdateButton();
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
}

QTEST_MAIN(ImageChoiceTest)
#include "tst_imagechoice.moc"
