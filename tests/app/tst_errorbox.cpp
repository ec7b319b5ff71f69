// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

#include <QAbstractButton>
#include <QGuiApplication>
#include <QPushButton>
#include <QThread>
#include <QWindow>

#include <atomic>
#include <memory>

namespace {

const QString NotConnected = QStringLiteral("SUB-20 not connected!");

/// A thread that reports an error, as a loader does.
class Reporter
{
public:
    Reporter(MainWindow &window, const QString &text)
        : thread(QThread::create([this, &window, text] {
              window.reportError(text);
              returned = true;
          }))
    {
        thread->start();
    }
    ~Reporter() { thread->wait(); }
    Reporter(const Reporter &) = delete;
    Reporter &operator=(const Reporter &) = delete;

    bool hasReturned() const { return returned; }

private:
    std::atomic<bool> returned = false;
    std::unique_ptr<QThread> thread;
};

} // namespace

/// The error box, whichever thread asks for it.
class ErrorBoxTest : public TestCase
{
    Q_OBJECT

private slots:
    void theBox();
    void theBoxIsModal();
    void theTextIsLoggedAsItStands_data();
    void theTextIsLoggedAsItStands();
    void aKeyClosesTheBox_data();
    void aKeyClosesTheBox();
    void theButtonHasTheKeyboard();
    void theEmittersErrorsAreShown();

    void onAnotherThreadItReturnsAfterTheBox();
    void onAnotherThreadTheTextIsLoggedOnce();
    void severalThreadsGetTheirBoxes();
    void aMissingAdapterIsShownBeforeTheSessionEnds();
    void closingTheWindowBeforeTheBoxIsShown();
    void quittingWhileTheBoxIsShown();
};

void ErrorBoxTest::theBox()
{
    WindowBench bench;
    bench.start();
    const MessageBoxes boxes;
    bench.window().reportError(QStringLiteral("It broke"));
    QCOMPARE(boxes.contents().size(), 1);
    const MessageBoxes::Content &box = boxes.contents().constFirst();
    QCOMPARE(box.text, QStringLiteral("Error:"));
    QCOMPARE(box.informativeText, QStringLiteral("It broke"));
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Close));
    QCOMPARE(box.informativeFormat, Qt::PlainText);
    QVERIFY(!box.parent);
}

/// While it is open, the window gets no click; and it is closed by its button.
void ErrorBoxTest::theBoxIsModal()
{
    WindowBench bench;
    bench.start(QString(), "image");
    bench.window().show();
    QVERIFY(QTest::qWaitForWindowExposed(&bench.window()));
    auto *const button = bench.widget<QPushButton>("updBtn");
    int clicks = 0;
    connect(button, &QPushButton::clicked, this, [&clicks] { ++clicks; });
    // Through the window, as the desktop sends it.
    const auto click = [&] {
        QTest::mouseClick(bench.window().windowHandle(), Qt::LeftButton, {},
                          button->mapTo(&bench.window(), button->rect().center()));
    };
    click();
    QCOMPARE(clicks, 1);
    bool closes = false;
    const ModalWatch<QMessageBox> watch([&](QMessageBox &box) {
        click();
        QTest::mouseClick(box.button(QMessageBox::Close), Qt::LeftButton);
        closes = !box.isVisible();
    });
    bench.window().reportError(QStringLiteral("It broke"));
    QCOMPARE(watch.count(), 1);
    QCOMPARE(clicks, 1);
    QVERIFY(closes);
    click();
    QCOMPARE(clicks, 2);
    QCoreApplication::processEvents(); // the button's queued notice arrives at the window
}

void ErrorBoxTest::theTextIsLoggedAsItStands_data()
{
    QTest::addColumn<QString>("text");
    for (const char *const text : {"plain", "two  blanks", "\"quoted\"", "back\\slash", "<b>bold</b> & more",
                                   "Frame incomplete (sz=1)\n", "%1 %2", "Gerät €", ""})
        QTest::newRow(text) << QString::fromUtf8(text);
}

void ErrorBoxTest::theTextIsLoggedAsItStands()
{
    QFETCH(const QString, text);
    WindowBench bench;
    bench.start();
    const MessageLog log;
    const MessageBoxes boxes;
    bench.window().reportError(text);
    QCOMPARE(log.texts(), QStringList({text}));
    QCOMPARE(boxes.informativeTexts(), QStringList({text}));
}

void ErrorBoxTest::aKeyClosesTheBox_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("escape") << int{Qt::Key_Escape};
    QTest::newRow("enter") << int{Qt::Key_Return};
    QTest::newRow("enter of the number pad") << int{Qt::Key_Enter};
}

void ErrorBoxTest::aKeyClosesTheBox()
{
    QFETCH(const int, key);
    WindowBench bench;
    bench.start();
    bool closes = false;
    ModalWatch<QMessageBox> watch([&](QMessageBox &box) {
        QTest::keyClick(&box, static_cast<Qt::Key>(key));
        closes = !box.isVisible();
    });
    bench.window().reportError(QStringLiteral("It broke"));
    QVERIFY(closes);
}

void ErrorBoxTest::theButtonHasTheKeyboard()
{
    WindowBench bench;
    bench.start();
    bool hasFocus = false;
    ModalWatch<QMessageBox> watch([&](const QMessageBox &box) {
        hasFocus = QTest::qWaitFor([&] { return box.focusWidget() == box.button(QMessageBox::Close); });
    });
    bench.window().reportError(QStringLiteral("It broke"));
    QCOMPARE(watch.count(), 1);
    QVERIFY(hasFocus);
}

void ErrorBoxTest::theEmittersErrorsAreShown()
{
    WindowBench bench;
    bench.start();
    const MessageBoxes boxes;
    emit bench.probe().emitter()->errorSignal(QStringLiteral("It broke"));
    QCOMPARE(boxes.informativeTexts(), QStringList({QStringLiteral("It broke")}));
}

void ErrorBoxTest::onAnotherThreadItReturnsAfterTheBox()
{
    WindowBench bench;
    bench.start();
    std::unique_ptr<Reporter> reporter;
    ModalWatch<QMessageBox> watch([&](const QMessageBox &box) {
        QCOMPARE(box.informativeText(), QStringLiteral("It broke"));
        QCOMPARE(box.thread(), QCoreApplication::instance()->thread());
        // A wrong reporter gets its chance to return too early.
        QVERIFY(!QTest::qWaitFor([&] { return reporter->hasReturned(); }, 200));
    });
    reporter = std::make_unique<Reporter>(bench.window(), QStringLiteral("It broke"));
    QTRY_VERIFY(reporter->hasReturned());
    QCOMPARE(watch.count(), 1);
}

void ErrorBoxTest::onAnotherThreadTheTextIsLoggedOnce()
{
    WindowBench bench;
    bench.start();
    const MessageLog log;
    const MessageBoxes boxes;
    const Reporter reporter(bench.window(), QStringLiteral("two  blanks"));
    QTRY_VERIFY(reporter.hasReturned());
    QCOMPARE(log.texts(), QStringList({QStringLiteral("two  blanks")}));
}

void ErrorBoxTest::severalThreadsGetTheirBoxes()
{
    WindowBench bench;
    bench.start();
    const MessageBoxes boxes;
    const Reporter first(bench.window(), QStringLiteral("first"));
    const Reporter second(bench.window(), QStringLiteral("second"));
    QTRY_VERIFY(first.hasReturned() && second.hasReturned());
    QStringList texts = boxes.informativeTexts();
    texts.sort();
    QCOMPARE(texts, QStringList({QStringLiteral("first"), QStringLiteral("second")}));
}

void ErrorBoxTest::aMissingAdapterIsShownBeforeTheSessionEnds()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, "image");
    adapter.setAdapters(0);
    bool sessionOpen = false;
    ModalWatch<QMessageBox> watch([&](const QMessageBox &box) {
        QCOMPARE(box.informativeText(), NotConnected);
        sessionOpen = bench.probe().sessionOpen();
        QCOMPARE(bench.buttonText(), QStringLiteral("Stop"));
    });
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(watch.count(), 1);
    QVERIFY(sessionOpen);
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(bench.buttonText(), QStringLiteral("Start Update"));
    QVERIFY(!QGuiApplication::overrideCursor());
}

void ErrorBoxTest::closingTheWindowBeforeTheBoxIsShown()
{
    SimulatedAdapter adapter;
    for (int round = 0; round < 20; ++round) {
        adapter.setAdapters(1);
        WindowBench bench(adapter);
        bench.start(InfraRedText, "image");
        adapter.setAdapters(0);
        const qsizetype opened = adapter.calls(QStringLiteral("sub_open")).size();
        const MessageBoxes boxes;
        bench.press();
        const QFuture<int> future = bench.probe().future();
        // No events meanwhile: the loader waits for a box that nobody shows, or is about to ask for it.
        while (adapter.calls(QStringLiteral("sub_open")).size() == opened)
            QThread::yieldCurrentThread();
        bench.close();
        QVERIFY(future.isFinished());
        QCOMPARE(future.result(), -1);
        QVERIFY(boxes.contents().isEmpty());
    }
}

void ErrorBoxTest::quittingWhileTheBoxIsShown()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, "image");
    adapter.setAdapters(0);
    int boxes = 0;
    QTimer look;
    look.callOnTimeout([&] {
        if (QApplication::activeModalWidget() && ++boxes == 1)
            QCoreApplication::quit();
    });
    look.start(5);
    QTimer::singleShot(0, &bench.window(), [&] { bench.press(); });
    QCoreApplication::exec();
    QCOMPARE(boxes, 1);
    const QFuture<int> future = bench.probe().future();
    bench.close();
    QVERIFY(future.isFinished());
}

QTEST_MAIN(ErrorBoxTest)
#include "tst_errorbox.moc"
