// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "tests/trace/tracedialog.h"
#include "tests/trace/tracehandler.h"

#include <QPushButton>
#include <QTemporaryDir>
#include <QTextDocument>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>
#include <memory>
#include <utility>

namespace {

constexpr int Threads = 4;
constexpr int MessagesPerThread = 25000;
constexpr int Messages = Threads * MessagesPerThread;
constexpr int ArrivalTimeoutMs = 240000;
constexpr int FewestClicks = 20;
/// More than goes to the dialog in a few turns of the event loop.
constexpr int Flood = 10000;

int shownCount()
{
    return findDialog()->findChild<QTextBrowser *>()->document()->blockCount();
}

/// Logs the numbers from `first` up to the one before `end`.
void logNumbers(int first, int end)
{
    for (int number = first; number < end; ++number)
        qDebug("%d", number);
}

/// Without what the platform says of itself when a window is shown.
QStringList loggedLines(const QStringList &lines)
{
    QStringList logged;
    std::ranges::copy_if(lines, std::back_inserter(logged),
                         [](const QString &line) { return !line.contains(QStringLiteral("This plugin")); });
    return logged;
}

QStringList savedLines(const QString &fileName)
{
    return loggedLines(QString::fromUtf8(contentOf(fileName)).split(u'\n'));
}

QStringList numbers(int first, int end)
{
    QStringList lines;
    for (int number = first; number < end; ++number)
        lines += QString::number(number);
    return lines;
}

QPushButton &traceButton(const QString &text)
{
    for (QPushButton *const button : findDialog()->findChildren<QPushButton *>()) {
        if (button->text() == text)
            return *button;
    }
    qFatal("no button \"%s\"", qPrintable(text));
}

/// Four threads that log at once, each its number and a count.
class Loggers
{
public:
    void start()
    {
        for (int number = 0; number < Threads; ++number) {
            threads[static_cast<std::size_t>(number)].reset(QThread::create([number] {
                for (int message = 0; message < MessagesPerThread; ++message)
                    qDebug("%d %d", number, message);
            }));
        }
        for (const std::unique_ptr<QThread> &thread : threads)
            thread->start();
    }
    ~Loggers()
    {
        for (const std::unique_ptr<QThread> &thread : threads) {
            if (thread)
                thread->wait();
        }
    }

private:
    std::array<std::unique_ptr<QThread>, Threads> threads;
};

/// A thread that logs until it is stopped. When nobody can do so, it gives up.
class EndlessLogger
{
public:
    explicit EndlessLogger(int messagesPerMs)
        : thread(QThread::create([this, messagesPerMs] { log(messagesPerMs); }))
    {
        thread->start();
    }
    ~EndlessLogger() { stop(); }
    EndlessLogger(const EndlessLogger &) = delete;
    EndlessLogger &operator=(const EndlessLogger &) = delete;

    void stop()
    {
        stopped = true;
        thread->wait();
    }
    bool isRunning() const { return thread->isRunning(); }

private:
    static constexpr int GivesUpAfter = 1000000;

    void log(int messagesPerMs)
    {
        for (int first = 0; !stopped && first < GivesUpAfter; first += messagesPerMs) {
            logNumbers(first, first + messagesPerMs);
            QThread::msleep(1);
        }
    }

    std::atomic<bool> stopped = false;
    std::unique_ptr<QThread> thread;
};

} // namespace

/// A flood of messages, as busy threads make it: the window answers meanwhile, and none of them is lost.
class ManyMessagesTest : public TestCase
{
    Q_OBJECT

private slots:
    void allArriveInOrderWhileTheWindowAnswers();
    void theWindowAnswersInAFloodWithoutEnd();
    void theOrderHoldsAsTheFloodComesAndGoes();
    void fewMessagesAreShownInTheNextTurn();
    void clearingTakesAwayWhatWaits();
    void savingBringsInWhatWaits();
    void savingInAFloodWithoutEndReturns();
};

void ManyMessagesTest::allArriveInOrderWhileTheWindowAnswers()
{
    const TraceOn trace;
    QVERIFY(QTest::qWaitForWindowExposed(findDialog()));
    // Clicked whenever the event loop comes round.
    QPushButton button;
    int clicksInTheFlood = 0;
    connect(&button, &QPushButton::clicked, this, [&clicksInTheFlood] {
        if (shownCount() > 1 && shownCount() < Messages)
            ++clicksInTheFlood;
    });
    QTimer timer;
    connect(&timer, &QTimer::timeout, &button, &QPushButton::click);
    timer.start(0);

    Loggers loggers;
    loggers.start();
    QTRY_COMPARE_WITH_TIMEOUT(shownCount(), Messages, ArrivalTimeoutMs);
    QVERIFY2(clicksInTheFlood >= FewestClicks, qPrintable(QString::number(clicksInTheFlood)));

    std::array<int, Threads> next{};
    for (const QString &line : shownLines()) {
        int &expected = next.at(line.section(u' ', 0, 0).toUInt());
        QCOMPARE(line.section(u' ', 1).toInt(), expected);
        ++expected;
    }
    QCOMPARE(next, (std::array<int, Threads>{MessagesPerThread, MessagesPerThread, MessagesPerThread,
                                             MessagesPerThread}));
}

void ManyMessagesTest::theWindowAnswersInAFloodWithoutEnd()
{
    constexpr int FewestTurns = 10;
    const TraceOn trace;
    QVERIFY(QTest::qWaitForWindowExposed(findDialog()));
    int turns = 0;
    int shown = 1;
    EndlessLogger logger(200); // more than can be shown
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        if (logger.isRunning() && std::exchange(shown, shownCount()) != shown)
            ++turns;
    });
    timer.start(0);
    QTRY_VERIFY_WITH_TIMEOUT(turns >= FewestTurns || !logger.isRunning(), ArrivalTimeoutMs);
    QVERIFY2(turns >= FewestTurns, qPrintable(QString::number(turns)));
    logger.stop();
    traceButton(QStringLiteral("Clear")).click();
    QCoreApplication::processEvents();
    QCOMPARE(shownLines(), QStringList());
}

// Some messages of a thread wait and others do not.
void ManyMessagesTest::theOrderHoldsAsTheFloodComesAndGoes()
{
    constexpr int Bursts = 20;
    constexpr int Burst = 1500;
    const TraceOn trace;
    const std::unique_ptr<QThread> thread(QThread::create([] {
        for (int burst = 0; burst < Bursts; ++burst) {
            // Of different lengths, to come to each place of a turn.
            const int first = burst * Burst;
            logNumbers(first, first + Burst - burst * 60);
            QThread::yieldCurrentThread();
            logNumbers(first + Burst - burst * 60, first + Burst);
            QThread::msleep(static_cast<unsigned long>(burst % 5) * 5);
        }
    }));
    thread->start();
    QTRY_COMPARE_WITH_TIMEOUT(shownCount(), Bursts * Burst, ArrivalTimeoutMs);
    QVERIFY(thread->wait());
    QVERIFY(shownLines() == numbers(0, Bursts * Burst));
}

void ManyMessagesTest::fewMessagesAreShownInTheNextTurn()
{
    constexpr int Few = 300;
    const TraceOn trace;
    for (int times = 1; times <= 3; ++times) {
        logNumbers((times - 1) * Few, times * Few);
        QCOMPARE(shownLines(), numbers(0, (times - 1) * Few));
        QCoreApplication::processEvents();
        QCOMPARE(shownLines(), numbers(0, times * Few));
    }
}

void ManyMessagesTest::clearingTakesAwayWhatWaits()
{
    const TraceOn trace;
    for (int times = 0; times < 2; ++times) {
        logNumbers(0, Flood);
        traceButton(QStringLiteral("Clear")).click();
        QCOMPARE(shownLines(), QStringList());
        qDebug("after");
        QTRY_COMPARE(shownLines(), QStringList({QStringLiteral("after")}));
    }
    // Nothing comes later.
    qDebug("at last");
    QTRY_COMPARE(shownLines(), QStringList({QStringLiteral("after"), QStringLiteral("at last")}));
}

void ManyMessagesTest::savingBringsInWhatWaits()
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("trace.txt"));
    const TraceOn trace;
    logNumbers(0, Flood);
    // The dialog takes its time; so there is a second flood right before it closes.
    int saveDialogs = 0;
    const ModalWatch<QFileDialog> watch([&](QFileDialog &dialog) {
        ++saveDialogs;
        logNumbers(Flood, 2 * Flood);
        acceptFile(dialog, file);
    });
    traceButton(QStringLiteral("Save Trace")).click();
    QCOMPARE(saveDialogs, 1);
    QVERIFY(savedLines(file) == numbers(0, 2 * Flood));
    qDebug("%d", 2 * Flood);
    QTRY_VERIFY(loggedLines(shownLines()) == numbers(0, 2 * Flood + 1));
}

void ManyMessagesTest::savingInAFloodWithoutEndReturns()
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("trace.txt"));
    const TraceOn trace;
    EndlessLogger logger(20);
    QTRY_VERIFY(shownCount() > 1);
    const SaveChoice choice(file);
    traceButton(QStringLiteral("Save Trace")).click();
    QVERIFY(logger.isRunning());
    logger.stop();
    const QStringList saved = savedLines(file);
    QVERIFY(saved.size() > 1);
    QVERIFY(saved == numbers(0, static_cast<int>(saved.size())));
    traceButton(QStringLiteral("Clear")).click();
}

QTEST_MAIN(ManyMessagesTest)
#include "tst_manymessages.moc"
