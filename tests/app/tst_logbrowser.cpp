// SPDX-License-Identifier: MIT
#include "trace/logbrowser.h"

#include "tests/support/messagelog.h"
#include "tests/support/outputcapture.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"
#include "tests/trace/tracehandler.h"

#include <QApplication>
#include <QDebug>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QThread>

#include <array>
#include <memory>

namespace {

void pressHotKey(QWidget &widget)
{
    QTest::keyClick(&widget, Qt::Key_BracketRight, Qt::ControlModifier | Qt::ShiftModifier);
}

} // namespace

/// Where messages go: to the trace while it is switched on, and nowhere else.
class LogBrowserTest : public TestCase
{
    Q_OBJECT

private slots:
    void theMethodsInTheirOrder();
    void theMessageTypeCanTravel();
    void theDialogIsOwnedAndHidden();
    void aMessageIsPassedOn();
    void aMessageIsShownLater();
    void hidingTogglesTheDialog();
    void withoutBrowserAMessageIsDropped();
    void aBrowserThatIsGoneDropsMessages();
    void everyTypeReachesTheDialog();
    void messagesOfAThreadKeepTheirOrder();

    void aWindowStartsWithoutTrace();
    void aSecondWindowLeavesTheFirstBrowser();
    void theTraceGoesWithTheWindow();
    void theHotKeyWithoutABrowser();
    void refusedOptionsAreLoggedWheneverTheTraceIsSwitchedOn();
    void theHotKeyTurnsTheTraceOnAndOff();
    void messagesLoggedBeforeAreNotShown();
    void theHotKeyWorksInTheDialog();
    void controlDIsNoHotKey();
    void aClosedDialogAndTheHotKey();
    void aClosedDialogGoesOnCollecting();
    void theUploadsMessagesAreShown();
};

void LogBrowserTest::theMethodsInTheirOrder()
{
    const QMetaObject &meta = LogBrowser::staticMetaObject;
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 3);
    const QMetaMethod sendMessage = meta.method(meta.methodOffset());
    QCOMPARE(sendMessage.methodSignature(), QByteArray("sendMessage(QtMsgType,QString)"));
    QCOMPARE(sendMessage.methodType(), QMetaMethod::Signal);
    const QMetaMethod outputMessage = meta.method(meta.methodOffset() + 1);
    QCOMPARE(outputMessage.methodSignature(), QByteArray("outputMessage(QtMsgType,QString)"));
    QCOMPARE(outputMessage.methodType(), QMetaMethod::Slot);
    const QMetaMethod hideBrowser = meta.method(meta.methodOffset() + 2);
    QCOMPARE(hideBrowser.methodSignature(), QByteArray("hideBrowser()"));
    QCOMPARE(hideBrowser.methodType(), QMetaMethod::Slot);
}

void LogBrowserTest::theMessageTypeCanTravel()
{
    const QWidget window;
    const LogBrowser browser(&window);
    QCOMPARE(QMetaType::fromName("QtMsgType"), QMetaType::fromType<QtMsgType>());
}

void LogBrowserTest::theDialogIsOwnedAndHidden()
{
    const QWidget window;
    auto browser = std::make_unique<LogBrowser>(&window);
    QVERIFY(!browser->parent());
    QVERIFY(findDialog());
    QVERIFY(!findDialog()->parent());
    QVERIFY(findDialog()->isHidden());
    browser.reset();
    QVERIFY(!findDialog());
}

void LogBrowserTest::aMessageIsPassedOn()
{
    const QWidget window;
    LogBrowser browser(&window);
    const QSignalSpy spy(&browser, SIGNAL(sendMessage(QtMsgType,QString)));
    browser.outputMessage(QtWarningMsg, QStringLiteral("port busy"));
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy[0][0].value<QtMsgType>(), QtWarningMsg);
    QCOMPARE(spy[0][1].toString(), QStringLiteral("port busy"));
}

void LogBrowserTest::aMessageIsShownLater()
{
    const QWidget window;
    LogBrowser browser(&window);
    browser.outputMessage(QtDebugMsg, QStringLiteral("first"));
    browser.outputMessage(QtCriticalMsg, QStringLiteral("second"));
    QCOMPARE(shownLines(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(shownLines(), QStringList({QStringLiteral("first"), QStringLiteral("— CRITICAL: second")}));
}

void LogBrowserTest::hidingTogglesTheDialog()
{
    const QWidget window;
    LogBrowser browser(&window);
    browser.hideBrowser();
    QVERIFY(findDialog()->isVisible());
    browser.hideBrowser();
    QVERIFY(findDialog()->isHidden());
    findDialog()->show();
    browser.hideBrowser();
    QVERIFY(findDialog()->isHidden());
}

void LogBrowserTest::withoutBrowserAMessageIsDropped()
{
    const HandlerGuard guard;
    const QWidget window;
    delete logBrowser;
    const MessageLog handlerBefore;
    OutputCapture output(stderr);
    qInstallMessageHandler(logMessageHandler);
    qDebug("dropped");
    qCritical("dropped, too");
    QCOMPARE(output.finish(), QByteArray());
    QCOMPARE(handlerBefore.texts(), QStringList());

    logBrowser = new LogBrowser(&window);
    qDebug("shown");
    QCoreApplication::processEvents();
    QCOMPARE(shownLines(), QStringList({QStringLiteral("shown")}));
    delete logBrowser;
}

void LogBrowserTest::aBrowserThatIsGoneDropsMessages()
{
    const HandlerGuard guard;
    const QWidget window;
    delete logBrowser;
    logBrowser = new LogBrowser(&window);
    const MessageLog handlerBefore;
    qInstallMessageHandler(logMessageHandler);
    qDebug("shown");
    QCoreApplication::processEvents();
    QCOMPARE(shownLines(), QStringList({QStringLiteral("shown")}));
    qDebug("still on its way");
    delete logBrowser;
    OutputCapture output(stderr);
    qDebug("dropped");
    QCOMPARE(output.finish(), QByteArray());
    QCOMPARE(handlerBefore.texts(), QStringList());

    logBrowser = new LogBrowser(&window);
    QCoreApplication::processEvents();
    QCOMPARE(shownLines(), QStringList());
    delete logBrowser;
}

void LogBrowserTest::everyTypeReachesTheDialog()
{
    const QWidget window;
    delete logBrowser;
    logBrowser = new LogBrowser(&window);
    for (const QtMsgType type : {QtDebugMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg, QtInfoMsg})
        logMessageHandler(type, QMessageLogContext(), QStringLiteral("text"));
    QCoreApplication::processEvents();
    QCOMPARE(shownLines(), QStringList({QStringLiteral("text"), QStringLiteral("— WARNING: text"),
                                        QStringLiteral("— CRITICAL: text"), QStringLiteral("— FATAL: text"),
                                        QStringLiteral("text")}));
    delete logBrowser;
}

void LogBrowserTest::messagesOfAThreadKeepTheirOrder()
{
    constexpr int Threads = 4;
    constexpr int Messages = 500;
    const HandlerGuard guard;
    const QWidget window;
    delete logBrowser;
    logBrowser = new LogBrowser(&window);
    qInstallMessageHandler(logMessageHandler);
    std::array<std::unique_ptr<QThread>, Threads> threads;
    for (int i = 0; i < Threads; ++i) {
        threads[static_cast<std::size_t>(i)].reset(QThread::create([i] {
            for (int message = 0; message < Messages; ++message)
                qDebug("%d %d", i, message);
        }));
        threads[static_cast<std::size_t>(i)]->start();
    }
    // The GUI thread is busy until all have logged.
    for (const std::unique_ptr<QThread> &thread : threads)
        QVERIFY(thread->wait());
    QCOMPARE(shownLines(), QStringList());
    QTRY_COMPARE(shownLines().size(), Threads * Messages);

    std::array<int, Threads> next{};
    for (const QString &line : shownLines()) {
        int &expected = next[line.section(u' ', 0, 0).toUInt()];
        QCOMPARE(line.section(u' ', 1, 1).toInt(), expected);
        ++expected;
    }
    delete logBrowser;
}

void LogBrowserTest::aWindowStartsWithoutTrace()
{
    const HandlerGuard guard;
    const QtMessageHandler before = currentHandler();
    logHandlerInstalled = true;
    WindowBench bench;
    bench.start();
    QVERIFY(logBrowser);
    QVERIFY(!logBrowser->parent());
    QVERIFY(!logHandlerInstalled);
    QVERIFY(currentHandler() == before);
    QVERIFY(findDialog()->isHidden());
}

void LogBrowserTest::aSecondWindowLeavesTheFirstBrowser()
{
    WindowBench bench;
    bench.start();
    const QPointer<LogBrowser> first = logBrowser;
    bench.close();
    QVERIFY(first); // it outlives its window
    {
        const MainWindow second;
        QVERIFY(first);
        QVERIFY(logBrowser);
        QVERIFY(logBrowser != first);
    }
    delete first;
}

// Closing may take as long as a loader waits for its panel.
void LogBrowserTest::theTraceGoesWithTheWindow()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    window.show();
    window.logHotKeyPressed();
    QVERIFY(findDialog()->isVisible());
    QVERIFY(window.close());
    QVERIFY(findDialog()->isHidden());
    QVERIFY(window.close());
    QVERIFY(findDialog()->isHidden());
}

void LogBrowserTest::theHotKeyWithoutABrowser()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    delete logBrowser;
    window.close();
    window.logHotKeyPressed();
    QVERIFY(logHandlerInstalled);
    QVERIFY(currentHandler() == logMessageHandler);
    window.logHotKeyPressed();
    QVERIFY(!logHandlerInstalled);
    QVERIFY(currentHandler() == defaultHandler());
}

void LogBrowserTest::refusedOptionsAreLoggedWheneverTheTraceIsSwitchedOn()
{
    const HandlerGuard guard;
    WindowBench bench;
    bench.settings.setValue(QStringLiteral("options/reply_gap"), QStringLiteral("fast"));
    bench.settings.setValue(QStringLiteral("options/check_reply"), QStringLiteral("true"));
    MainWindow &window = bench.start();
    const auto shownOptions = [] { return shownLines().filter(QStringLiteral("options/")); };
    QStringList expected;
    for (int times = 0; times < 2; ++times) {
        window.logHotKeyPressed();
        expected += QStringLiteral("options/reply_gap is not used, its value is no good: fast");
        QTRY_COMPARE(shownOptions(), expected);
        window.logHotKeyPressed();
        QCoreApplication::processEvents();
        QCOMPARE(shownOptions(), expected);
    }
}

void LogBrowserTest::theHotKeyTurnsTheTraceOnAndOff()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    for (const char *const shown : {"first", "second"}) {
        pressHotKey(window);
        QVERIFY(findDialog()->isVisible());
        QVERIFY(logHandlerInstalled);
        QVERIFY(currentHandler() == logMessageHandler);
        qDebug("%s", shown);
        QTRY_VERIFY(shownLines().contains(QString::fromLatin1(shown)));

        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        pressHotKey(window);
        QVERIFY(findDialog()->isHidden());
        QVERIFY(!logHandlerInstalled);
        QVERIFY(currentHandler() == defaultHandler()); // not the one before
        qDebug("unseen");
        QCoreApplication::processEvents();
        QVERIFY(!shownLines().contains(QStringLiteral("unseen")));
    }
}

void LogBrowserTest::messagesLoggedBeforeAreNotShown()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    qDebug("early");
    QCoreApplication::processEvents();
    window.logHotKeyPressed();
    QCoreApplication::processEvents();
    QVERIFY(findDialog()->isVisible());
    QVERIFY(!shownLines().contains(QStringLiteral("early")));
}

void LogBrowserTest::theHotKeyWorksInTheDialog()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    window.show();
    window.logHotKeyPressed();
    LogBrowserDialog &dialog = *findDialog();
    dialog.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    pressHotKey(dialog);
    QVERIFY(dialog.isHidden());
    QVERIFY(!logHandlerInstalled);
}

void LogBrowserTest::controlDIsNoHotKey()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QTest::keyClick(&window, Qt::Key_D, Qt::ControlModifier);
    QVERIFY(findDialog()->isHidden());

    window.logHotKeyPressed();
    LogBrowserDialog &dialog = *findDialog();
    dialog.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    for (QWidget *const focused : {static_cast<QWidget *>(&dialog), dialog.focusWidget()}) {
        QTest::keyClick(focused, Qt::Key_D, Qt::ControlModifier);
        QVERIFY(dialog.isVisible());
        QVERIFY(logHandlerInstalled);
    }
}

void LogBrowserTest::aClosedDialogAndTheHotKey()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    window.show();
    window.logHotKeyPressed();
    QVERIFY(findDialog()->close());
    QVERIFY(logHandlerInstalled);

    window.logHotKeyPressed();
    QVERIFY(findDialog()->isVisible());
    QVERIFY(!logHandlerInstalled);
    qDebug("unseen");
    QCoreApplication::processEvents();
    QVERIFY(!shownLines().contains(QStringLiteral("unseen")));

    window.logHotKeyPressed();
    QVERIFY(findDialog()->isHidden());
    QVERIFY(logHandlerInstalled);
    qDebug("seen");
    QTRY_VERIFY(shownLines().contains(QStringLiteral("seen")));
}

void LogBrowserTest::aClosedDialogGoesOnCollecting()
{
    const HandlerGuard guard;
    WindowBench bench;
    MainWindow &window = bench.start();
    window.logHotKeyPressed();
    qDebug("before");
    QTRY_VERIFY(shownLines().contains(QStringLiteral("before")));
    QTest::keyClick(findDialog(), Qt::Key_Escape);
    QVERIFY(findDialog()->isHidden());
    qDebug("after");
    QTRY_VERIFY(shownLines().contains(QStringLiteral("after")));
    QVERIFY(shownLines().contains(QStringLiteral("before")));
}

void LogBrowserTest::theUploadsMessagesAreShown()
{
    const HandlerGuard guard;
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    MainWindow &window = bench.start(QStringLiteral("InfraRed SUB-20"), QByteArray(480, 'x'));
    window.logHotKeyPressed();
    bench.press();
    QVERIFY(bench.waitForEnd());
    QTRY_VERIFY(shownLines().contains(QStringLiteral("boot run")));
}

QTEST_MAIN(LogBrowserTest)
#include "tst_logbrowser.moc"
