// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "update/firmwareloader.h"
#include "update/updatesession.h"

#include <QDeadlineTimer>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using State = UpdateSession::State;

/// One run: its loader, and what has become of it.
struct Run
{
    enum class Way { Returns, ThrowsStandard, ThrowsOther };

    int id = 0;
    Way way = Way::Returns;
    int blocks = 0;
    QSemaphore go;       ///< one for each block
    QSemaphore answered; ///< the loader has begun, a block is through, or it has ended
    std::atomic<bool> hasEnded = false;
    std::atomic<int> returned = LoaderFailed; ///< stays so for one that throws
    int ends = 0;
};

/// A session under presses in any order, beside what is known about it: which run is on the line, whether it
/// was stopped, and which one waits.
class Walk
{
public:
    explicit Walk(quint32 seed) : random(seed)
    {
        QObject::connect(&watcher, &QFutureWatcher<int>::finished, &watcher, [this] { takeEnd(); });
        QObject::connect(&watcher, &QFutureWatcher<int>::canceled, &watcher, [this] { takeEnd(); });
    }
    ~Walk()
    {
        session.close();
        if (onLine)
            onLine->go.release(MostBlocks);
        session.waitForLoader();
    }
    Walk(const Walk &) = delete;
    Walk &operator=(const Walk &) = delete;

    void step();
    /// Lets every run go to its end.
    void finish();
    /// Closes it as it stands, and lets the run that is on the line go to its end.
    void close();

    /// What has not held, with the steps before it.
    QStringList problems;
    int begun = 0;
    int stopped = 0;
    int waited = 0;

private:
    static constexpr int MostBlocks = 3;

    void expect(bool holds, const char *what)
    {
        if (!holds && problems.isEmpty())
            problems = steps + QStringList(QString::fromLatin1(what));
    }
    void note(const char *name)
    {
        steps += QString::fromLatin1(name);
        if (steps.size() > 30)
            steps.removeFirst();
    }

    UpdateSession::Loader newLoader();
    int send(Run &run);
    void start();
    void stop();
    void block();
    void takeEnd();
    void lookAt();
    State expectedState() const;

    QRandomGenerator random;
    QFuture<int> future;
    QFutureWatcher<int> watcher;
    std::atomic<bool> stopRequested = false;
    UpdateSession session{future, watcher, stopRequested};

    std::vector<std::shared_ptr<Run>> runs;
    std::shared_ptr<Run> onLine;
    std::shared_ptr<Run> waiting;
    bool isStopped = false;
    bool hasReported = false;
    bool isClosed = false;
    std::atomic<int> loaders = 0;
    std::atomic<bool> twoAtATime = false;
    QStringList steps;
};

/// What a loader does, on its thread.
int Walk::send(Run &run)
{
    struct Counted
    {
        explicit Counted(Walk &counting) : walk(counting)
        {
            if (++walk.loaders > 1)
                walk.twoAtATime = true;
        }
        ~Counted() { --walk.loaders; }
        Walk &walk;
    };
    struct Ended
    {
        ~Ended()
        {
            ended.hasEnded = true;
            ended.answered.release();
        }
        Run &ended;
    };
    const Ended ended{run};
    const Counted counted(*this);
    run.answered.release();
    for (int sent = 0; sent < run.blocks; ++sent) {
        run.go.acquire();
        if (stopRequested)
            return LoaderFailed;
        if (sent + 1 < run.blocks)
            run.answered.release();
    }
    if (run.way == Run::Way::ThrowsStandard)
        throw std::runtime_error("thrown");
    if (run.way == Run::Way::ThrowsOther)
        throw run.id;
    run.returned = run.id;
    return run.id;
}

UpdateSession::Loader Walk::newLoader()
{
    auto run = std::make_shared<Run>();
    run->id = static_cast<int>(runs.size()) + 1;
    run->way = static_cast<Run::Way>(random.bounded(3));
    run->blocks = random.bounded(1, MostBlocks + 1);
    runs.push_back(run);
    return [this, run] { return send(*run); };
}

void Walk::start()
{
    const UpdateSession::Loader loader = newLoader();
    if (onLine) {
        waiting = runs.back();
        ++waited;
    } else if (!isClosed) {
        onLine = runs.back();
        isStopped = false;
        hasReported = false;
        ++begun;
    }
    session.start(loader);
}

void Walk::stop()
{
    if (onLine) {
        isStopped = true;
        ++stopped;
    }
    waiting = nullptr;
    session.stop();
    expect(stopRequested, "a stop has to be seen");
}

/// The block that the loader stands at is through.
void Walk::block()
{
    if (!onLine || onLine->hasEnded)
        return;
    onLine->answered.acquire();
    if (!onLine->hasEnded)
        onLine->go.release();
}

void Walk::takeEnd()
{
    const std::optional<SessionEnd> end = session.finish();
    if (!end)
        return;
    note("end");
    expect(onLine != nullptr, "an end without a run");
    if (!onLine)
        return;
    expect(++onLine->ends == 1, "a run ends once");
    expect(onLine->hasEnded, "a run ends behind its loader");
    expect(end->result == onLine->returned, "the result is the loader's");
    expect(end->wasStopped == isStopped, "a stop belongs to its run");
    expect(end->errorWasReported == hasReported, "a reported error belongs to its run");
    expect(end->restarts == (waiting != nullptr), "the end says whether another waits");
    onLine = std::exchange(waiting, nullptr);
    isStopped = false;
    hasReported = false;
    begun += onLine ? 1 : 0;
    session.restart();
}

State Walk::expectedState() const
{
    if (isClosed)
        return State::Closed;
    if (!onLine)
        return State::Idle;
    if (waiting)
        return State::Restarting;
    return isStopped ? State::Stopping : State::Running;
}

void Walk::lookAt()
{
    expect(session.state() == expectedState(), "the state has its name");
    expect(!twoAtATime, "one loader at a time");
    expect(!onLine || stopRequested == (isStopped || isClosed), "the stop flag is the run's");
}

void Walk::step()
{
    switch (random.bounded(8)) {
    case 0:
    case 1:
        note("start");
        start();
        break;
    case 2:
    case 3:
        note("stop");
        stop();
        break;
    case 4:
    case 5:
        note("block");
        block();
        break;
    case 6:
        note("events");
        QCoreApplication::processEvents();
        break;
    default:
        note("error");
        session.noteError();
        hasReported = true;
        if (!onLine)
            session.forgetStop();
        expect(onLine || isClosed || !stopRequested, "a stop without run is forgotten");
        break;
    }
    lookAt();
}

void Walk::finish()
{
    note("finish");
    const QDeadlineTimer deadline(60000);
    while (onLine && problems.isEmpty() && !deadline.hasExpired()) {
        onLine->go.release(MostBlocks);
        QCoreApplication::processEvents();
        QThread::yieldCurrentThread();
    }
    expect(!deadline.hasExpired(), "every run ends");
    lookAt();
    int ends = 0;
    for (const auto &run : runs)
        ends += run->ends;
    expect(ends == begun, "each run that began has ended, and no other");
}

void Walk::close()
{
    note("close");
    waiting = nullptr;
    isClosed = true;
    session.close();
    lookAt();
    if (onLine)
        onLine->go.release(MostBlocks);
    session.waitForLoader();
    expect(loaders == 0, "no loader outlives the session");
    const std::optional<SessionEnd> end = session.finish();
    expect(end.has_value() == (onLine != nullptr), "the last run has its end");
    expect(!end || (end->wasStopped && !end->restarts), "nothing begins after the last end");
    if (onLine)
        ++onLine->ends;
    onLine = nullptr;
    step();
    QCoreApplication::processEvents();
    expect(loaders == 0, "after closing nothing begins");
}

} // namespace

/// Thousands of presses in any order: never two loaders at a time, one end for each run, each stop for its
/// own.
class SessionWalkTest : public TestCase
{
    Q_OBJECT

private slots:
    void anyOrderOfPresses_data();
    void anyOrderOfPresses();
};

void SessionWalkTest::anyOrderOfPresses_data()
{
    QTest::addColumn<quint32>("seed");
    QTest::newRow("always the same") << quint32{20};
    const quint32 fresh = QRandomGenerator::global()->generate();
    QTest::addRow("seed %u", fresh) << fresh;
}

void SessionWalkTest::anyOrderOfPresses()
{
    QFETCH(const quint32, seed);
    constexpr int Walks = 1000;
    constexpr int Steps = 40;
    QRandomGenerator seeds(seed);
    int begun = 0;
    int stopped = 0;
    int waited = 0;
    for (int i = 0; i < Walks; ++i) {
        Walk walk(seeds.generate());
        for (int step = 0; step < Steps && walk.problems.isEmpty(); ++step)
            walk.step();
        if (i % 2 == 0)
            walk.finish();
        else
            walk.close();
        QVERIFY2(walk.problems.isEmpty(), qPrintable(walk.problems.join(QStringLiteral(", "))));
        begun += walk.begun;
        stopped += walk.stopped;
        waited += walk.waited;
    }
    // It has not walked past what it is about.
    QVERIFY2(begun > Walks && stopped > Walks && waited > Walks,
             qPrintable(QStringLiteral("%1 %2 %3").arg(begun).arg(stopped).arg(waited)));
}

QTEST_GUILESS_MAIN(SessionWalkTest)
#include "tst_sessionwalk.moc"
