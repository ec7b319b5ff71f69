// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "update/errorreporter.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QSemaphore>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace {

/// A thread that reports errors, as a loader does, one after the other.
class Reporting
{
public:
    Reporting(ErrorReporter &reporter, const QStringList &texts)
        : thread(QThread::create([this, &reporter, texts] {
              for (const QString &text : texts) {
                  hasBegun = true;
                  reporter.report(text);
                  ++back;
              }
          }))
    {
        thread->start();
    }
    Reporting(ErrorReporter &reporter, const QString &text) : Reporting(reporter, QStringList(text)) {}
    ~Reporting() { thread->wait(); }
    Reporting(const Reporting &) = delete;
    Reporting &operator=(const Reporting &) = delete;

    /// How many of its errors are closed, as far as it knows.
    int returned() const { return back; }
    bool isReporting() const { return hasBegun; }
    /// Without events: so nobody can show it a box meanwhile.
    bool ends(int patienceMs = 60000) const { return thread->wait(QDeadlineTimer(patienceMs)); }

private:
    std::atomic<bool> hasBegun = false;
    std::atomic<int> back = 0;
    std::unique_ptr<QThread> thread;
};

/// A reporter whose boxes are remembered, and closed at once unless the test does something while they are
/// open.
class Boxes
{
public:
    QStringList shown;
    std::function<void(const QString &)> whileOpen = [](const QString &) {};
    QThread *boxThread = nullptr;

    std::unique_ptr<ErrorReporter> reporter = std::make_unique<ErrorReporter>([this](const QString &text) {
        shown += text;
        boxThread = QThread::currentThread();
        whileOpen(text);
    });
};

bool comesTrue(const std::function<bool()> &condition)
{
    const QDeadlineTimer deadline(60000);
    while (!condition() && !deadline.hasExpired()) {
        QCoreApplication::processEvents();
        QThread::yieldCurrentThread();
    }
    return condition();
}

} // namespace

/// Errors from any thread, shown on one: who waits for what, and that nobody waits for ever.
class ErrorReporterTest : public TestCase
{
    Q_OBJECT

private slots:
    void onItsOwnThreadItShowsAtOnce();
    void onAnotherThreadItReturnsBehindTheBox();
    void itsThreadIsTheOneThatMadeIt();
    void threadsAtOnceGetABoxEach();
    void aBoxOverABox();

    void closingLetsAWaitingThreadGoOn();
    void closingWhileTheBoxIsOpen();
    void afterClosingNobodyWaits();
    void onItsOwnThreadAfterClosing();
    void whatIsNotShownGoesWithTheReporter();
    void theRestCanBeShown();
    void closingAtAnyMoment();
};

void ErrorReporterTest::onItsOwnThreadItShowsAtOnce()
{
    Boxes boxes;
    boxes.reporter->report(QStringLiteral("It broke"));
    QCOMPARE(boxes.shown, QStringList(QStringLiteral("It broke")));
    QCoreApplication::processEvents();
    QCOMPARE(boxes.shown.size(), 1);
}

void ErrorReporterTest::onAnotherThreadItReturnsBehindTheBox()
{
    Boxes boxes;
    std::unique_ptr<Reporting> thread;
    boxes.whileOpen = [&](const QString &) {
        // A wrong reporter gets its chance to return too early.
        QVERIFY(!thread->ends(100));
        QCOMPARE(thread->returned(), 0);
    };
    thread = std::make_unique<Reporting>(*boxes.reporter, QStringLiteral("It broke"));
    QVERIFY(comesTrue([&] { return thread->returned() == 1; }));
    QCOMPARE(boxes.shown, QStringList(QStringLiteral("It broke")));
    QCOMPARE(boxes.boxThread, QThread::currentThread());
}

void ErrorReporterTest::itsThreadIsTheOneThatMadeIt()
{
    QThread owner;
    owner.start();
    Boxes boxes;
    QObject there;
    boxes.reporter.reset();
    there.moveToThread(&owner);
    const auto onOwner = [&](const std::function<void()> &work) {
        QMetaObject::invokeMethod(&there, work, Qt::BlockingQueuedConnection);
    };
    QThread *shownOn = nullptr;
    onOwner([&] {
        boxes.reporter =
            std::make_unique<ErrorReporter>([&](const QString &) { shownOn = QThread::currentThread(); });
    });
    boxes.reporter->report(QStringLiteral("It broke"));
    QCOMPARE(shownOn, &owner);
    onOwner([&] {
        boxes.reporter.reset();
        there.moveToThread(nullptr);
    });
    owner.quit();
    QVERIFY(owner.wait());
}

void ErrorReporterTest::threadsAtOnceGetABoxEach()
{
    constexpr int Threads = 8;
    constexpr int Errors = 100;
    Boxes boxes;
    std::vector<std::unique_ptr<Reporting>> threads;
    QHash<QString, QStringList> expected;
    QHash<QString, QStringList> shown;
    for (int i = 0; i < Threads; ++i) {
        QStringList texts;
        for (int error = 0; error < Errors; ++error)
            texts += QStringLiteral("%1 %2").arg(i).arg(error);
        expected[QString::number(i)] = texts;
        threads.push_back(std::make_unique<Reporting>(*boxes.reporter, texts));
    }
    QVERIFY(comesTrue([&] { return boxes.shown.size() == Threads * Errors; }));
    for (const auto &thread : threads) {
        QVERIFY(thread->ends());
        QCOMPARE(thread->returned(), Errors);
    }
    QCoreApplication::processEvents();
    QCOMPARE(boxes.shown.size(), Threads * Errors);
    for (const QString &text : std::as_const(boxes.shown))
        shown[text.section(QLatin1Char(' '), 0, 0)] += text;
    QCOMPARE(shown, expected);
}

/// A modal box lets events go on, so the second one comes up over it, and the first one waits below.
void ErrorReporterTest::aBoxOverABox()
{
    Boxes boxes;
    std::unique_ptr<Reporting> second;
    boxes.whileOpen = [&](const QString &text) {
        if (text != QStringLiteral("first"))
            return;
        second = std::make_unique<Reporting>(*boxes.reporter, QStringLiteral("second"));
        QVERIFY(comesTrue([&] { return second->returned() == 1; }));
    };
    const Reporting first(*boxes.reporter, QStringLiteral("first"));
    QVERIFY(comesTrue([&] { return first.returned() == 1; }));
    QCOMPARE(boxes.shown, QStringList({QStringLiteral("first"), QStringLiteral("second")}));
}

void ErrorReporterTest::closingLetsAWaitingThreadGoOn()
{
    Boxes boxes;
    const Reporting first(*boxes.reporter, QStringLiteral("first"));
    const Reporting second(*boxes.reporter, QStringLiteral("second"));
    while (!first.isReporting() || !second.isReporting())
        QThread::yieldCurrentThread();
    QVERIFY(!boxes.reporter->isClosed());
    boxes.reporter->close();
    QVERIFY(boxes.reporter->isClosed());
    QVERIFY(first.ends());
    QVERIFY(second.ends());
    QVERIFY(boxes.shown.isEmpty());
}

void ErrorReporterTest::closingWhileTheBoxIsOpen()
{
    Boxes boxes;
    std::unique_ptr<Reporting> thread;
    boxes.whileOpen = [&](const QString &) {
        boxes.reporter->close();
        QVERIFY(thread->ends());
        // The thread is gone, with all that it had; the box is closed after it.
        thread.reset();
    };
    thread = std::make_unique<Reporting>(*boxes.reporter, QStringLiteral("It broke"));
    QVERIFY(comesTrue([&] { return !thread; }));
    QCoreApplication::processEvents();
    QCOMPARE(boxes.shown.size(), 1);
}

void ErrorReporterTest::afterClosingNobodyWaits()
{
    Boxes boxes;
    boxes.reporter->close();
    const Reporting thread(*boxes.reporter, {QStringLiteral("first"), QStringLiteral("second")});
    QVERIFY(thread.ends());
    QCOMPARE(thread.returned(), 2);
    // Whoever shows it is still asked: to say it elsewhere than in a box.
    bool isClosed = false;
    boxes.whileOpen = [&](const QString &) { isClosed = boxes.reporter->isClosed(); };
    QCoreApplication::processEvents();
    QCOMPARE(boxes.shown, QStringList({QStringLiteral("first"), QStringLiteral("second")}));
    QVERIFY(isClosed);
}

void ErrorReporterTest::onItsOwnThreadAfterClosing()
{
    Boxes boxes;
    boxes.reporter->close();
    boxes.reporter->close();
    boxes.reporter->report(QStringLiteral("It broke"));
    QCOMPARE(boxes.shown.size(), 1);
    QVERIFY(boxes.reporter->isClosed());
}

void ErrorReporterTest::whatIsNotShownGoesWithTheReporter()
{
    Boxes boxes;
    {
        const Reporting thread(*boxes.reporter, QStringLiteral("It broke"));
        while (!thread.isReporting())
            QThread::yieldCurrentThread();
        boxes.reporter->close();
    }
    boxes.reporter.reset();
    QCoreApplication::processEvents();
    QVERIFY(boxes.shown.isEmpty());
}

void ErrorReporterTest::theRestCanBeShown()
{
    Boxes boxes;
    boxes.reporter->close();
    const QStringList texts{QStringLiteral("first"), QStringLiteral("second")};
    QVERIFY(Reporting(*boxes.reporter, texts).ends());
    QCOMPARE(boxes.shown, QStringList());
    boxes.reporter->showRest();
    QCOMPARE(boxes.shown, texts);
    QCOMPARE(boxes.boxThread, QThread::currentThread());
    boxes.reporter->showRest();
    QCoreApplication::processEvents();
    QCOMPARE(boxes.shown, texts);
}

/// Before the box, while it is open, behind it, and between all of them.
void ErrorReporterTest::closingAtAnyMoment()
{
    constexpr int Rounds = 200;
    for (int round = 0; round < Rounds; ++round) {
        Boxes boxes;
        {
            const Reporting first(*boxes.reporter, {QStringLiteral("a"), QStringLiteral("b")});
            const Reporting second(*boxes.reporter, {QStringLiteral("c"), QStringLiteral("d")});
            for (int turn = 0; turn < round % 40; ++turn) {
                QThread::yieldCurrentThread();
                if (round % 3 != 0)
                    QCoreApplication::processEvents();
            }
            boxes.reporter->close();
            QVERIFY2(first.ends() && second.ends(), qPrintable(QString::number(round)));
        }
        if (round % 2 == 0)
            QCoreApplication::processEvents();
        boxes.reporter.reset();
        QCoreApplication::processEvents();
        QCOMPARE(boxes.shown.removeDuplicates(), 0);
        QVERIFY(round % 2 != 0 || boxes.shown.size() == 4);
    }
}

QTEST_GUILESS_MAIN(ErrorReporterTest)
#include "tst_errorreporter.moc"
