// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "update/firmwareloader.h"
#include "update/updatesession.h"

#include <QDeadlineTimer>
#include <QList>
#include <QSemaphore>
#include <QThread>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

using State = UpdateSession::State;

constexpr int Done = 7; // no loader's number: what arrives is what was returned

/// A session, with what a window lends it.
class Bench
{
public:
    Bench()
    {
        QObject::connect(&watcher, &QFutureWatcher<int>::finished, &watcher, [this] { takeEnd(); });
        QObject::connect(&watcher, &QFutureWatcher<int>::canceled, &watcher, [this] { takeEnd(); });
    }
    ~Bench()
    {
        session.close();
        session.waitForLoader();
    }
    Bench(const Bench &) = delete;
    Bench &operator=(const Bench &) = delete;

    QFuture<int> future;
    QFutureWatcher<int> watcher;
    std::atomic<bool> stopRequested = false;
    UpdateSession session{future, watcher, stopRequested};
    QList<SessionEnd> ends;

private:
    void takeEnd()
    {
        if (const std::optional<SessionEnd> end = session.finish()) {
            ends += *end;
            session.restart();
        }
    }
};

/// A loader that stands at one block until it is let go; then it looks at the stop flag.
class HeldLoader
{
public:
    explicit HeldLoader(Bench &lent, int result = Done) : bench(lent), value(result) {}
    ~HeldLoader() { letGo(); }
    HeldLoader(const HeldLoader &) = delete;
    HeldLoader &operator=(const HeldLoader &) = delete;

    UpdateSession::Loader loader()
    {
        return [&stop = bench.stopRequested, result = value, shared = held] {
            ++shared->begun;
            shared->block.acquire();
            return stop ? int{LoaderFailed} : result;
        };
    }
    void letGo() { held->block.release(); }
    bool hasBegun() const { return held->begun > 0; }
    int runs() const { return held->begun; }

private:
    /// The loader may still be at it when the test has no more use for it.
    struct Held
    {
        QSemaphore block;
        std::atomic<int> begun = 0;
    };

    Bench &bench;
    const int value;
    const std::shared_ptr<Held> held = std::make_shared<Held>();
};

/// While it lives, the pool has no thread for a loader: one that is started has to wait.
class BusyPool
{
public:
    BusyPool() : threads(pool().maxThreadCount())
    {
        pool().setMaxThreadCount(1);
        pool().start([this] { block.acquire(); });
    }
    ~BusyPool()
    {
        block.release();
        pool().waitForDone();
        pool().setMaxThreadCount(threads);
    }
    BusyPool(const BusyPool &) = delete;
    BusyPool &operator=(const BusyPool &) = delete;

private:
    static QThreadPool &pool() { return *QThreadPool::globalInstance(); }

    const int threads;
    QSemaphore block;
};

/// Waits for it, and looks more often than QTRY_VERIFY: for many rounds.
bool comesTrue(const std::function<bool()> &condition)
{
    const QDeadlineTimer deadline(60000);
    while (!condition() && !deadline.hasExpired()) {
        QCoreApplication::processEvents();
        QThread::yieldCurrentThread();
    }
    return condition();
}

/// Waits for the end of the run's loader, without events: its end is still to be taken.
void waitWithoutEvents(const QFuture<int> &future)
{
    const QDeadlineTimer deadline(60000);
    while (!future.isFinished() && !deadline.hasExpired())
        QThread::yieldCurrentThread();
    QVERIFY(future.isFinished());
}

} // namespace

/// Which run is on the line and which comes next, with lambdas for loaders: each state and each way out of
/// it.
class UpdateSessionTest : public TestCase
{
    Q_OBJECT

private slots:
    void aRunGoesFromIdleToIdle();
    void oneRunAfterTheOther();
    void aStopEndsTheRunAtItsNextBlock();
    void aStopWithoutRunChangesNoState();
    void aStartAfterAStopWaitsForTheEnd();
    void aStopTakesTheWaitingStartBack();
    void theLastStartCounts();
    void aStartWhileOneRunsWaitsForItsEnd();
    void aStopBelongsToItsRun();
    void aStopBetweenAnEndAndTheNextRun();

    void aLoaderThatThrows_data();
    void aLoaderThatThrows();
    void theNextRunAfterALoaderThatThrew();
    void anEndIsTakenOnce();
    void noEndIsTakenWhileTheLoaderRuns();
    void aReportedErrorCountsForItsRun();
    void aStopIsForgottenWithoutRunOnly();

    void closingWithoutRun();
    void closingBeforeTheLoaderBegins();
    void closingWhileTheLoaderRuns();
    void closingAfterAStop();
    void closingWhileAnotherWaits();
    void closingOnALoaderThatThrew();
    void afterClosingNothingStarts();
};

void UpdateSessionTest::aRunGoesFromIdleToIdle()
{
    Bench bench;
    HeldLoader held(bench);
    QCOMPARE(bench.session.state(), State::Idle);
    bench.session.start(held.loader());
    QCOMPARE(bench.session.state(), State::Running);
    QTRY_VERIFY(held.hasBegun());
    QVERIFY(!bench.stopRequested);
    held.letGo();
    QTRY_COMPARE(bench.session.state(), State::Idle);
    QCOMPARE(bench.ends.size(), 1);
    const SessionEnd &end = bench.ends.constFirst();
    QCOMPARE(end.result, Done);
    QVERIFY(!end.wasStopped);
    QVERIFY(!end.errorWasReported);
    QVERIFY(!end.restarts);
    QCOMPARE(held.runs(), 1);
}

void UpdateSessionTest::oneRunAfterTheOther()
{
    Bench bench;
    for (int run = 1; run <= 200; ++run) {
        bench.session.start([run] { return run; });
        QVERIFY(comesTrue([&] { return bench.session.state() == State::Idle; }));
        QCOMPARE(bench.ends.size(), run);
        QCOMPARE(bench.ends.constLast().result, run);
    }
}

void UpdateSessionTest::aStopEndsTheRunAtItsNextBlock()
{
    Bench bench;
    HeldLoader held(bench);
    bench.session.start(held.loader());
    QTRY_VERIFY(held.hasBegun());
    bench.session.stop();
    QCOMPARE(bench.session.state(), State::Stopping);
    QVERIFY(bench.stopRequested);
    bench.session.stop(); // a second press changes nothing
    QCOMPARE(bench.session.state(), State::Stopping);
    QVERIFY(bench.ends.isEmpty());
    held.letGo();
    QTRY_COMPARE(bench.session.state(), State::Idle);
    QCOMPARE(bench.ends.size(), 1);
    QCOMPARE(bench.ends.constFirst().result, int{LoaderFailed});
    QVERIFY(bench.ends.constFirst().wasStopped);
}

void UpdateSessionTest::aStopWithoutRunChangesNoState()
{
    Bench bench;
    bench.session.stop();
    QCOMPARE(bench.session.state(), State::Idle);
    bench.session.start([] { return Done; });
    QVERIFY(!bench.stopRequested);
    QTRY_COMPARE(bench.ends.size(), 1);
    QCOMPARE(bench.ends.constFirst().result, Done);
    QVERIFY(!bench.ends.constFirst().wasStopped);
}

void UpdateSessionTest::aStartAfterAStopWaitsForTheEnd()
{
    Bench bench;
    HeldLoader first(bench, 1);
    HeldLoader second(bench, 2);
    bench.session.start(first.loader());
    QTRY_VERIFY(first.hasBegun());
    bench.session.stop();
    bench.session.start(second.loader());
    QCOMPARE(bench.session.state(), State::Restarting);
    QVERIFY(bench.stopRequested); // the first one has not seen it yet
    QVERIFY(!second.hasBegun());
    first.letGo();
    QTRY_COMPARE(bench.ends.size(), 1);
    QCOMPARE(bench.ends.constFirst().result, int{LoaderFailed});
    QVERIFY(bench.ends.constFirst().wasStopped);
    QVERIFY(bench.ends.constFirst().restarts);
    QCOMPARE(bench.session.state(), State::Running);
    QTRY_VERIFY(second.hasBegun());
    second.letGo();
    QTRY_COMPARE(bench.ends.size(), 2);
    QCOMPARE(bench.ends.constLast().result, 2);
    QVERIFY(!bench.ends.constLast().wasStopped);
    QVERIFY(!bench.ends.constLast().restarts);
    QCOMPARE(first.runs(), 1);
}

void UpdateSessionTest::aStopTakesTheWaitingStartBack()
{
    Bench bench;
    HeldLoader first(bench, 1);
    HeldLoader second(bench, 2);
    bench.session.start(first.loader());
    QTRY_VERIFY(first.hasBegun());
    bench.session.stop();
    bench.session.start(second.loader());
    bench.session.stop();
    QCOMPARE(bench.session.state(), State::Stopping);
    first.letGo();
    QTRY_COMPARE(bench.session.state(), State::Idle);
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QCOMPARE(bench.ends.size(), 1);
    QVERIFY(!bench.ends.constFirst().restarts);
    QVERIFY(!second.hasBegun());
}

void UpdateSessionTest::theLastStartCounts()
{
    Bench bench;
    HeldLoader first(bench, 1);
    HeldLoader second(bench, 2);
    bench.session.start(first.loader());
    QTRY_VERIFY(first.hasBegun());
    bench.session.stop();
    bench.session.start(second.loader());
    bench.session.stop();
    bench.session.start([] { return 3; });
    QCOMPARE(bench.session.state(), State::Restarting);
    first.letGo();
    QTRY_COMPARE(bench.ends.size(), 2);
    QCOMPARE(bench.ends.constLast().result, 3);
    QVERIFY(!second.hasBegun());
}

void UpdateSessionTest::aStartWhileOneRunsWaitsForItsEnd()
{
    Bench bench;
    HeldLoader first(bench, 1);
    bench.session.start(first.loader());
    QTRY_VERIFY(first.hasBegun());
    bench.session.start([] { return 2; });
    QVERIFY(!bench.stopRequested); // nobody has stopped the first one
    first.letGo();
    QTRY_COMPARE(bench.ends.size(), 2);
    QCOMPARE(bench.ends.constFirst().result, 1);
    QVERIFY(!bench.ends.constFirst().wasStopped);
    QCOMPARE(bench.ends.constLast().result, 2);
}

void UpdateSessionTest::aStopBelongsToItsRun()
{
    Bench bench;
    HeldLoader first(bench, 1);
    HeldLoader second(bench, 2);
    bench.session.start(first.loader());
    QTRY_VERIFY(first.hasBegun());
    bench.session.stop();
    bench.session.start(second.loader());
    first.letGo();
    QTRY_VERIFY(second.hasBegun());
    QVERIFY(!bench.stopRequested);
    bench.session.stop();
    second.letGo();
    QTRY_COMPARE(bench.ends.size(), 2);
    QVERIFY(bench.ends.constLast().wasStopped);
    QCOMPARE(bench.ends.constLast().result, int{LoaderFailed});
}

void UpdateSessionTest::aStopBetweenAnEndAndTheNextRun()
{
    Bench bench;
    HeldLoader first(bench, 1);
    HeldLoader second(bench, 2);
    bench.session.start(first.loader());
    bench.session.stop();
    bench.session.start(second.loader());
    first.letGo();
    waitWithoutEvents(bench.future);
    QVERIFY(bench.session.finish());
    bench.session.stop();
    QCOMPARE(bench.session.state(), State::Idle); // there is no run whose end could be waited for
    bench.session.restart();
    QCOMPARE(bench.session.state(), State::Idle);
    bench.session.start([] { return 3; });
    QTRY_COMPARE(bench.ends.size(), 1);
    QCOMPARE(bench.ends.constFirst().result, 3);
    QVERIFY(!second.hasBegun());
}

void UpdateSessionTest::aLoaderThatThrows_data()
{
    QTest::addColumn<bool>("standard");
    QTest::newRow("an exception of the standard library") << true;
    QTest::newRow("something else") << false;
}

void UpdateSessionTest::aLoaderThatThrows()
{
    QFETCH(const bool, standard);
    Bench bench;
    int notices = 0;
    connect(&bench.watcher, &QFutureWatcher<int>::canceled, this, [&notices] { ++notices; });
    connect(&bench.watcher, &QFutureWatcher<int>::finished, this, [&notices] { ++notices; });
    bench.session.start([standard]() -> int {
        if (standard)
            throw std::runtime_error("thrown");
        throw 42;
    });
    QTRY_COMPARE(notices, 2);
    QCOMPARE(bench.ends.size(), 1);
    QCOMPARE(bench.ends.constFirst().result, int{LoaderFailed});
    QVERIFY(!bench.ends.constFirst().wasStopped);
    QCOMPARE(bench.session.state(), State::Idle);
}

/// Two notices of the first end, and the second one comes when the next run may be on the line already.
void UpdateSessionTest::theNextRunAfterALoaderThatThrew()
{
    for (int round = 0; round < 200; ++round) {
        Bench bench;
        QSemaphore block;
        HeldLoader second(bench, 2);
        bench.session.start([&block]() -> int {
            block.acquire();
            throw 42;
        });
        bench.session.stop();
        bench.session.start(second.loader());
        block.release();
        QVERIFY(comesTrue([&] { return second.hasBegun(); }));
        QCoreApplication::processEvents();
        QCOMPARE(bench.ends.size(), 1);
        QCOMPARE(bench.session.state(), State::Running);
        second.letGo();
        QVERIFY(comesTrue([&] { return bench.ends.size() == 2; }));
        QCOMPARE(bench.ends.constLast().result, 2);
    }
}

void UpdateSessionTest::anEndIsTakenOnce()
{
    Bench bench;
    QVERIFY(!bench.session.finish()); // there was no run yet
    bench.session.start([] { return Done; });
    waitWithoutEvents(bench.future);
    QCOMPARE(bench.session.finish()->result, Done);
    QVERIFY(!bench.session.finish());
    QCoreApplication::processEvents(); // finished() arrives
    QVERIFY(bench.ends.isEmpty());
}

void UpdateSessionTest::noEndIsTakenWhileTheLoaderRuns()
{
    Bench bench;
    HeldLoader held(bench);
    bench.session.start(held.loader());
    QTRY_VERIFY(held.hasBegun());
    QVERIFY(!bench.session.finish());
    QCOMPARE(bench.session.state(), State::Running);
    held.letGo();
    QTRY_COMPARE(bench.ends.size(), 1);
}

void UpdateSessionTest::aReportedErrorCountsForItsRun()
{
    Bench bench;
    HeldLoader first(bench, 1);
    HeldLoader second(bench, 2);
    bench.session.noteError(); // of no run
    bench.session.start(first.loader());
    bench.session.stop();
    bench.session.start(second.loader());
    bench.session.noteError();
    first.letGo();
    QTRY_COMPARE(bench.ends.size(), 1);
    QVERIFY(bench.ends.constFirst().errorWasReported);
    second.letGo();
    QTRY_COMPARE(bench.ends.size(), 2);
    QVERIFY(!bench.ends.constLast().errorWasReported);
    bench.session.start([] { return Done; });
    QTRY_COMPARE(bench.ends.size(), 3);
    QVERIFY(!bench.ends.constLast().errorWasReported);
}

void UpdateSessionTest::aStopIsForgottenWithoutRunOnly()
{
    Bench bench;
    bench.session.stop();
    QVERIFY(bench.stopRequested);
    bench.session.forgetStop();
    QVERIFY(!bench.stopRequested);

    HeldLoader held(bench);
    bench.session.start(held.loader());
    bench.session.stop();
    bench.session.forgetStop();
    QVERIFY(bench.stopRequested);
    bench.session.start([] { return Done; });
    bench.session.forgetStop();
    QVERIFY(bench.stopRequested);
    bench.session.close();
    bench.session.forgetStop();
    QVERIFY(bench.stopRequested);
}

void UpdateSessionTest::closingWithoutRun()
{
    Bench bench;
    bench.session.close();
    QCOMPARE(bench.session.state(), State::Closed);
    bench.session.waitForLoader();
    QVERIFY(!bench.session.finish());
}

void UpdateSessionTest::closingBeforeTheLoaderBegins()
{
    Bench bench;
    HeldLoader held(bench);
    {
        const BusyPool busy;
        bench.session.start(held.loader());
        bench.session.close();
    }
    bench.session.waitForLoader();
    QVERIFY(!held.hasBegun());
    const std::optional<SessionEnd> end = bench.session.finish();
    QVERIFY(end);
    QCOMPARE(end->result, int{LoaderFailed});
    QVERIFY(end->wasStopped);
    QVERIFY(!end->restarts);
    QCOMPARE(bench.session.state(), State::Closed);
}

void UpdateSessionTest::closingWhileTheLoaderRuns()
{
    Bench bench;
    HeldLoader held(bench);
    bench.session.start(held.loader());
    QTRY_VERIFY(held.hasBegun());
    bench.session.close();
    QVERIFY(bench.stopRequested);
    QVERIFY(!bench.future.isFinished()); // it does not wait
    held.letGo();
    bench.session.waitForLoader();
    QVERIFY(bench.future.isFinished());
    QCOMPARE(bench.session.finish()->result, int{LoaderFailed});
    QCoreApplication::processEvents();
    QVERIFY(bench.ends.isEmpty());
    QCOMPARE(bench.session.state(), State::Closed);
}

void UpdateSessionTest::closingAfterAStop()
{
    Bench bench;
    HeldLoader held(bench);
    bench.session.start(held.loader());
    QTRY_VERIFY(held.hasBegun());
    bench.session.stop();
    bench.session.close();
    QCOMPARE(bench.session.state(), State::Closed);
    held.letGo();
    QTRY_COMPARE(bench.ends.size(), 1); // events may go on after the window's end
    QCOMPARE(bench.session.state(), State::Closed);
}

void UpdateSessionTest::closingWhileAnotherWaits()
{
    Bench bench;
    HeldLoader first(bench, 1);
    HeldLoader second(bench, 2);
    bench.session.start(first.loader());
    QTRY_VERIFY(first.hasBegun());
    bench.session.stop();
    bench.session.start(second.loader());
    bench.session.close();
    first.letGo();
    QTRY_COMPARE(bench.ends.size(), 1);
    QVERIFY(!bench.ends.constFirst().restarts);
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QVERIFY(!second.hasBegun());
}

void UpdateSessionTest::closingOnALoaderThatThrew()
{
    Bench bench;
    bench.session.start([]() -> int { throw 42; });
    waitWithoutEvents(bench.future);
    bench.session.close();
    bench.session.waitForLoader();
    QCOMPARE(bench.session.finish()->result, int{LoaderFailed});
    QVERIFY(!bench.session.finish());
}

void UpdateSessionTest::afterClosingNothingStarts()
{
    Bench bench;
    HeldLoader held(bench);
    bench.session.close();
    bench.session.start(held.loader());
    bench.session.restart();
    bench.session.stop();
    QCOMPARE(bench.session.state(), State::Closed);
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QVERIFY(!held.hasBegun());
}

QTEST_GUILESS_MAIN(UpdateSessionTest)
#include "tst_updatesession.moc"
