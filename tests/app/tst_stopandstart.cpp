// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/messagelog.h"
#include "tests/support/testcase.h"

#include <QProgressBar>
#include <QPushButton>
#include <QThreadPool>

namespace {

const QString StartText = QStringLiteral("Start Update");
const QString StopText = QStringLiteral("Stop");
const QStringList OneRun{QStringLiteral("open"), QStringLiteral("close")};

QByteArray chunks(int count)
{
    return QByteArray(count * 32, 'x');
}

} // namespace

/// Stop, and Start again before the loader has noticed: one loader at a time, and each stop for its own run.
class StopAndStartTest : public TestCase
{
    Q_OBJECT

private slots:
    void stopAndStartWithinOneBlock();
    void startStopStartStop();
    void theNewRunTakesWhatStoodAtItsStart();
    void closingWithAPendingStart();
    void closingRightAfterStart();

private:
    /// Starts an update and waits until its loader sends.
    static void startAndWait(const WindowBench &bench, const SimulatedAdapter &adapter);
};

void StopAndStartTest::startAndWait(const WindowBench &bench, const SimulatedAdapter &adapter)
{
    bench.press();
    QTRY_VERIFY(!adapter.calls(QStringLiteral("sub_rs_timing")).isEmpty());
}

void StopAndStartTest::stopAndStartWithinOneBlock()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "300");
    adapter.set("EXCLUSIVE", "1");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(6));
    const MessageLog log;
    startAndWait(bench, adapter);
    const QFuture<int> first = bench.probe().future();
    bench.press();
    bench.press();
    QCOMPARE(bench.buttonText(), StopText);
    QVERIFY(!bench.widget<QPushButton>("loadImg")->isEnabled());
    QVERIFY(bench.probe().stopRequested());

    QTRY_VERIFY(first.isFinished());
    QCOMPARE(first.result(), -1);
    QTRY_COMPARE(log.count(CanceledText), 1);
    QCOMPARE(bench.buttonText(), StopText);
    QVERIFY(!bench.widget<QPushButton>("loadImg")->isEnabled());
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(log.count(CanceledText), 1);
    QCOMPARE(bench.buttonText(), StartText);
    QCOMPARE(bench.widget<QProgressBar>("progressBar")->value(), 6);
    QCOMPARE(opensAndCloses(adapter.log()), OneRun + OneRun);
    QCOMPARE(adapter.log().filter(QStringLiteral("misuse")), QStringList());
}

void StopAndStartTest::startStopStartStop()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "300");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(6));
    startAndWait(bench, adapter);
    bench.press();
    bench.press();
    bench.press();
    QCOMPARE(bench.buttonText(), StartText);
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(bench.buttonText(), StartText);
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QCOMPARE(opensAndCloses(adapter.log()), OneRun);
}

void StopAndStartTest::theNewRunTakesWhatStoodAtItsStart()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "300");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(6));
    startAndWait(bench, adapter);
    bench.press();
    const QByteArray second("the second image");
    bench.probe().setImageFileName(bench.makeImage(second, QStringLiteral("second.INC")));
    bench.press();
    bench.probe().setImageFileName(QStringLiteral("/nowhere"));
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), second);
}

void StopAndStartTest::closingWithAPendingStart()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "300");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(100));
    startAndWait(bench, adapter);
    bench.press();
    bench.press();
    bench.close();
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QCOMPARE(opensAndCloses(adapter.log()), OneRun);
}

void StopAndStartTest::closingRightAfterStart()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "20");
    for (int round = 0; round < 20; ++round) {
        WindowBench bench(adapter);
        bench.start(ModbusText, chunks(100));
        bench.press();
        const QFuture<int> future = bench.probe().future();
        bench.close();
        QVERIFY(future.isFinished());
        QCOMPARE(future.result(), -1);
    }
    QCOMPARE(opensAndCloses(adapter.log()).count(QStringLiteral("open")),
             opensAndCloses(adapter.log()).count(QStringLiteral("close")));
}

QTEST_MAIN(StopAndStartTest)
#include "tst_stopandstart.moc"
