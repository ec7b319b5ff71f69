// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSemaphore>
#include <QThread>

#include <stdexcept>

namespace {

constexpr int ChunkSize = 32;
const QString StartText = QStringLiteral("Start Update");
const QString StopText = QStringLiteral("Stop");
const QStringList OneRun{QStringLiteral("open"), QStringLiteral("close")};

QByteArray chunks(int count)
{
    return QByteArray(count * ChunkSize, 'x');
}

} // namespace

/// One update, as the window shows it: the button, the bar, its text, the cursor and the end.
class UpdateControlTest : public TestCase
{
    Q_OBJECT

private slots:
    void startShowsARunningSession();
    void aCompleteUpdateLeavesTheBarFull_data();
    void aCompleteUpdateLeavesTheBarFull();
    void progressShowsTheElapsedTime();
    void theRangeComesFromTheLoader();
    void stopResetsTheBarAtOnce();
    void aStoppedRunLeavesTheBarEmpty();
    void stopEndsTheLoaderAtItsNextBlock();
    void theWaitCursorEndsWithTheSession();
    void aFailureNamesNoCancelling();
    void withoutConnectionNothingStarts();
    void withoutConnectionAStopOfNoRunIsTakenBack();
    void eachStartCountsItsOwnTime();
    void anEmptiedFileFieldLeavesTheRunAlone();
    void anEndWithoutSessionChangesNothing();
    void theLoaderWorksWithWhatStoodAtTheStart();

    void aLoaderThatThrowsEndsItsSessionOnce_data();
    void aLoaderThatThrowsEndsItsSessionOnce();
    void closingOnALoaderThatThrows();
    void closingAfterALoaderThatThrew();

private:
    static QProgressBar &bar(const WindowBench &bench) { return *bench.widget<QProgressBar>("progressBar"); }
    /// Starts an update and waits until its loader sends.
    static void startAndWait(const WindowBench &bench, const SimulatedAdapter &adapter);
};

void UpdateControlTest::startAndWait(const WindowBench &bench, const SimulatedAdapter &adapter)
{
    const qsizetype before = adapter.calls(QStringLiteral("sub_rs_timing")).size();
    bench.press();
    QTRY_VERIFY(adapter.calls(QStringLiteral("sub_rs_timing")).size() > before);
}

void UpdateControlTest::startShowsARunningSession()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "50");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(100));
    bar(bench).setValue(50);
    bench.press();
    QCOMPARE(bench.buttonText(), StopText);
    QVERIFY(!bench.widget<QPushButton>("loadImg")->isEnabled());
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
    QVERIFY(!bench.probe().stopRequested());
    QCOMPARE(bar(bench).value(), 0);
    QVERIFY(bench.probe().future().isStarted());
}

void UpdateControlTest::aCompleteUpdateLeavesTheBarFull_data()
{
    QTest::addColumn<QString>("connection");
    QTest::newRow("infrared") << InfraRedText;
    QTest::newRow("Modbus") << ModbusText;
}

void UpdateControlTest::aCompleteUpdateLeavesTheBarFull()
{
    QFETCH(const QString, connection);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(connection, chunks(30));
    const MessageLog log;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(bench.buttonText(), StartText);
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
    QCOMPARE(bar(bench).value(), bar(bench).maximum());
    QVERIFY(bar(bench).maximum() > 0);
    QCOMPARE(bar(bench).format(), QString());
    QCOMPARE(log.count(CanceledText), 0);
    QCOMPARE(opensAndCloses(adapter.log()), OneRun);
    QVERIFY(bench.probe().sub20Handle() != nullptr);
}

void UpdateControlTest::progressShowsTheElapsedTime()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "20");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(100));
    bench.press();
    QTRY_VERIFY(bar(bench).value() > 0);
    QCOMPARE(bar(bench).value() % 3, 0);
    QCOMPARE(bar(bench).maximum(), 100);
    const QString format = bar(bench).format();
    QVERIFY2(QRegularExpression(QStringLiteral("^Elapsed time: 00:\\d\\d$")).match(format).hasMatch(),
             qPrintable(format));
    QTRY_COMPARE(bar(bench).format(), QStringLiteral("Elapsed time: 00:01"));
}

void UpdateControlTest::theRangeComesFromTheLoader()
{
    WindowBench bench;
    bench.start();
    emit bench.probe().emitter()->load_start(0, 1234);
    QCOMPARE(bar(bench).minimum(), 0);
    QCOMPARE(bar(bench).maximum(), 1234);
    emit bench.probe().emitter()->load_progress(617);
    QCOMPARE(bar(bench).value(), 617);
    QVERIFY(bar(bench).format().startsWith(QStringLiteral("Elapsed time: ")));
}

// Of an image with a short last piece, the progress of the last whole one fills the bar.
void UpdateControlTest::aStoppedRunLeavesTheBarEmpty()
{
    WindowBench bench;
    bench.start();
    bench.widget<QLineEdit>("lineEdit")->setText(QStringLiteral("image"));
    QSemaphore stopped;
    bench.probe().start([&] {
        emit bench.probe().emitter()->load_start(0, 3);
        stopped.acquire();
        emit bench.probe().emitter()->load_progress(3);
        return -1;
    });
    bench.widget<QPushButton>("updBtn")->setText(StopText);
    bench.widget<QPushButton>("updBtn")->setEnabled(true);
    bench.press();
    stopped.release();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bar(bench).maximum(), 3);
    QCOMPARE(bar(bench).value(), 0);
}

void UpdateControlTest::stopResetsTheBarAtOnce()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "100");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(200));
    bench.press();
    QTRY_VERIFY(bar(bench).value() > 0);
    bench.press();
    QCOMPARE(bar(bench).value(), 0);
    QCOMPARE(bench.buttonText(), StartText);
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
    QVERIFY(bench.probe().stopRequested());
    // The loader is still in its block.
    QVERIFY(bench.probe().sessionOpen());
    QCOMPARE(opensAndCloses(adapter.log()), QStringList({QStringLiteral("open")}));

    QVERIFY(bench.waitForEnd());
    QCOMPARE(opensAndCloses(adapter.log()), OneRun);
    QCOMPARE(bar(bench).value(), 0);
    QCOMPARE(bar(bench).format(), QString());
}

void UpdateControlTest::stopEndsTheLoaderAtItsNextBlock()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "50");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(200));
    startAndWait(bench, adapter);
    const MessageLog log;
    const MessageBoxes boxes;
    const qsizetype sent = adapter.calls(QStringLiteral("sub_rs_xfer")).size();
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(log.count(CanceledText), 1);
    QVERIFY(boxes.contents().isEmpty());
    QVERIFY(adapter.calls(QStringLiteral("sub_rs_xfer")).size() <= sent + 2);
}

void UpdateControlTest::theWaitCursorEndsWithTheSession()
{
    SimulatedAdapter adapter;
    adapter.set("IR_TIME", "20");
    WindowBench bench(adapter);
    bench.start(InfraRedText, chunks(100));
    QVERIFY(!QGuiApplication::overrideCursor());
    bench.press();
    QTRY_VERIFY(QGuiApplication::overrideCursor());
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    bench.press();
    QVERIFY(bench.probe().sessionOpen());
    QVERIFY(QGuiApplication::overrideCursor());
    QVERIFY(bench.waitForEnd());
    QVERIFY(!QGuiApplication::overrideCursor());
}

void UpdateControlTest::aFailureNamesNoCancelling()
{
    SimulatedAdapter adapter;
    adapter.set("RS", "exception=2,from-record=5");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(30));
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QTRY_COMPARE(boxes.informativeTexts(),
                 QStringList({QStringLiteral("Modbus Exception: Illegal Data Address")}));
    QCOMPARE(bench.probe().future().result(), 40);
    QCOMPARE(log.count(CanceledText), 0);
    QCOMPARE(bar(bench).value(), 0);
    QCOMPARE(bench.buttonText(), StartText);
}

void UpdateControlTest::withoutConnectionNothingStarts()
{
    SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    bench.start(QString(), chunks(3));
    for (const int type : {0, 4, -1}) {
        bench.probe().setConnectionType(type);
        const MessageLog log;
        bench.press();
        QCOMPARE(bench.buttonText(), StopText);
        QVERIFY(!bench.widget<QPushButton>("loadImg")->isEnabled());
        QVERIFY(!bench.probe().sessionOpen());
        QCoreApplication::processEvents();
        QCOMPARE(bench.buttonText(), StopText);
        bench.press();
        QCOMPARE(bench.buttonText(), StartText);
        QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
        QCOMPARE(log.texts(), QStringList());
    }
}

void UpdateControlTest::withoutConnectionAStopOfNoRunIsTakenBack()
{
    WindowBench bench;
    bench.start(QString(), chunks(3));
    bench.probe().setConnectionType(ConnectionNone);
    bench.press();
    bench.press();
    QVERIFY(bench.probe().stopRequested());
    bench.press();
    QVERIFY(!bench.probe().stopRequested());
    bench.press();

    // A run that has not seen its stop yet keeps it.
    QSemaphore block;
    bench.probe().start([&block] {
        block.acquire();
        return 0;
    });
    bench.widget<QPushButton>("updBtn")->setText(StopText);
    bench.press();
    bench.press();
    QCOMPARE(bench.buttonText(), StopText);
    QVERIFY(bench.probe().stopRequested());
    block.release();
    QVERIFY(bench.waitForEnd());
}

void UpdateControlTest::eachStartCountsItsOwnTime()
{
    WindowBench bench;
    bench.start(QString(), chunks(3));
    bench.probe().setConnectionType(ConnectionNone);
    Emitter &emitter = *bench.probe().emitter();
    emit emitter.load_start(0, 3);
    bench.press();
    const auto shownSeconds = [&] {
        emit emitter.load_progress(1);
        return bar(bench).format().right(2).toInt();
    };
    QTRY_VERIFY(shownSeconds() >= 3);
    bench.press();
    QElapsedTimer sinceThen;
    sinceThen.start();
    bench.press();
    const int shown = shownSeconds();
    QVERIFY(shown <= sinceThen.elapsed() / 1000);
}

/// It greys the button, so this run cannot be stopped; when it has ended, no other can be started.
void UpdateControlTest::anEmptiedFileFieldLeavesTheRunAlone()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "20");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(30));
    startAndWait(bench, adapter);
    bench.widget<QLineEdit>("lineEdit")->clear();
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
    QCOMPARE(bench.buttonText(), StopText);
    bench.widget<QLineEdit>("lineEdit")->setText(QStringLiteral("another"));
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), chunks(30));
    QCOMPARE(bench.buttonText(), StartText);
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
}

void UpdateControlTest::anEndWithoutSessionChangesNothing()
{
    WindowBench bench;
    bench.start();
    const MessageLog log;
    bench.window().handleFinished();
    QCOMPARE(bench.buttonText(), StartText);
    QCOMPARE(log.texts(), QStringList());
}

void UpdateControlTest::theLoaderWorksWithWhatStoodAtTheStart()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "20");
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(30));
    startAndWait(bench, adapter);
    bench.window().setAddress(QStringLiteral("0x17"));
    bench.probe().setImageFileName(QStringLiteral("/nowhere"));
    bench.probe().setConnectionType(ConnectionNone);
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), chunks(30));
}

void UpdateControlTest::aLoaderThatThrowsEndsItsSessionOnce_data()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<bool>("isStandardException");
    QTest::newRow("infrared, an exception") << InfraRedText << true;
    QTest::newRow("infrared, a number") << InfraRedText << false;
    QTest::newRow("Modbus, an exception") << ModbusText << true;
    QTest::newRow("Modbus, a number") << ModbusText << false;
}

void UpdateControlTest::aLoaderThatThrowsEndsItsSessionOnce()
{
    QFETCH(const QString, connection);
    QFETCH(const bool, isStandardException);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(connection, chunks(30));
    const auto thrower = connect(
        bench.probe().emitter(), &Emitter::load_start, bench.probe().emitter(),
        [isStandardException] {
            if (isStandardException)
                throw std::runtime_error("out of order");
            throw 42;
        },
        Qt::DirectConnection);
    const MessageLog log;
    bench.press();
    QTRY_VERIFY(!bench.probe().sessionOpen());
    QTRY_COMPARE(log.count(CanceledText), 1);
    QCOMPARE(bench.buttonText(), StartText);
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
    QVERIFY(!QGuiApplication::overrideCursor());

    disconnect(thrower);
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(log.count(CanceledText), 1);
    QCOMPARE(opensAndCloses(adapter.log()), OneRun + OneRun);
}

void UpdateControlTest::closingOnALoaderThatThrows()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(30));
    connect(
        bench.probe().emitter(), &Emitter::load_start, bench.probe().emitter(), [] { throw 42; },
        Qt::DirectConnection);
    const MessageLog log;
    bench.press();
    const QFuture<int> future = bench.probe().future();
    while (!future.isFinished()) // without events: nothing ends the session before the window goes
        QThread::yieldCurrentThread();
    bench.close();
    QCOMPARE(log.count(CanceledText), 1);
    QCOMPARE(opensAndCloses(adapter.log()), OneRun);
}

void UpdateControlTest::closingAfterALoaderThatThrew()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(ModbusText, chunks(30));
    connect(
        bench.probe().emitter(), &Emitter::load_start, bench.probe().emitter(), [] { throw 42; },
        Qt::DirectConnection);
    const MessageLog log;
    bench.press();
    QVERIFY(bench.waitForEnd());
    bench.close();
    QCOMPARE(log.count(CanceledText), 1);
}

QTEST_MAIN(UpdateControlTest)
#include "tst_updatecontrol.moc"
