// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "tests/trace/tracehandler.h"

#include <QPushButton>
#include <QTextDocument>
#include <QThread>
#include <QTimer>

#include <array>
#include <memory>

namespace {

constexpr int Threads = 4;
constexpr int MessagesPerThread = 25000;
constexpr int Messages = Threads * MessagesPerThread;
constexpr int ArrivalTimeoutMs = 240000;
constexpr int FewestClicks = 20;

int shownCount()
{
    return findDialog()->findChild<QTextBrowser *>()->document()->blockCount();
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

} // namespace

/// A flood of messages, as four busy threads make it.
class ManyMessagesTest : public TestCase
{
    Q_OBJECT

private slots:
    void allArriveInOrderWhileTheWindowAnswers();
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

QTEST_MAIN(ManyMessagesTest)
#include "tst_manymessages.moc"
