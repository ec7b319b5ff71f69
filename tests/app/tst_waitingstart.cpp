// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QProgressBar>
#include <QPushButton>
#include <QSemaphore>

#include <atomic>
#include <memory>

namespace {

const QString StopText = QStringLiteral("Stop");
constexpr int Records = 3;

/// What a loader waits for. A test that ends early lets it go.
class Awaited
{
public:
    Awaited() = default;
    ~Awaited() { release(); }
    Awaited(const Awaited &) = delete;
    Awaited &operator=(const Awaited &) = delete;

    void release() const { come->release(); }
    std::shared_ptr<QSemaphore> semaphore() const { return come; }

private:
    const std::shared_ptr<QSemaphore> come = std::make_shared<QSemaphore>();
};

} // namespace

/// A start that waits for the run before it: what it works with, and what the bar shows of either of them.
class WaitingStartTest : public TestCase
{
    Q_OBJECT

private slots:
    void aFullBarIsNotLeftOver();
    void aFullBarIsNotLeftOverByAPortThatIsGone();
    void aFullBarIsNotLeftOverByAnAdapterThatIsGone();
    void itTakesThePortOfItsStart();

private:
    static QProgressBar &bar(const WindowBench &bench) { return *bench.widget<QProgressBar>("progressBar"); }
    /// Has a run on the line whose last record is not answered yet, and presses Stop. It is answered, and the
    /// run succeeds, when `reply` is released.
    static void stopBehindTheLastRecord(const WindowBench &bench, const Awaited &reply);
    /// The bar says nothing of a run that has not sent anything.
    static void verifyBarIsEmpty(const WindowBench &bench)
    {
        QCOMPARE(bar(bench).value(), 0);
        QCOMPARE(bar(bench).format(), QString());
        QCOMPARE(bar(bench).accessibleDescription(), QString());
    }
};

void WaitingStartTest::stopBehindTheLastRecord(const WindowBench &bench, const Awaited &reply)
{
    Emitter &emitter = *bench.probe().emitter();
    bench.probe().start([&emitter, come = reply.semaphore()] {
        emit emitter.load_start(0, Records);
        come->acquire();
        emit emitter.load_progress(Records);
        return 0;
    });
    bench.widget<QPushButton>("updBtn")->setText(StopText);
    QTRY_COMPARE(bar(bench).maximum(), Records);
    bench.press();
    QCOMPARE(bench.buttonText(), QStringLiteral("Start Update"));
}

void WaitingStartTest::aFullBarIsNotLeftOver()
{
    std::atomic<bool> hasBegun = false;
    WindowBench bench;
    bench.start(QString(), "image");
    QList<int> values;
    connect(&bar(bench), &QProgressBar::valueChanged, this, [&values](int value) { values += value; });
    const Awaited reply;
    const Awaited silence;
    stopBehindTheLastRecord(bench, reply);
    bench.probe().start([&hasBegun, come = silence.semaphore()] {
        hasBegun = true;
        come->acquire();
        return 138;
    });
    reply.release();
    QTRY_VERIFY(hasBegun);
    QCOMPARE(values, QList<int>({Records, 0}));
    verifyBarIsEmpty(bench);
    silence.release();
    QVERIFY(bench.waitForEnd());
    QCoreApplication::processEvents();
    verifyBarIsEmpty(bench);
    QCOMPARE(values.size(), 2);
}

void WaitingStartTest::aFullBarIsNotLeftOverByAPortThatIsGone()
{
    WindowBench bench;
    bench.start(QString(), "image");
    const Awaited reply;
    stopBehindTheLastRecord(bench, reply);
    bench.probe().setConnectionType(ConnectionComPort);
    bench.probe().setPortName(QStringLiteral("/nowhere/ttyGONE"));
    bench.press();
    QCOMPARE(bench.buttonText(), StopText);
    const MessageBoxes boxes;
    reply.release();
    QVERIFY(bench.waitForEnd());
    QVERIFY(bench.probe().future().result() != 0);
    QTRY_COMPARE(boxes.contents().size(), 1);
    verifyBarIsEmpty(bench);
    verifySessionEnded(bench, false);
}

void WaitingStartTest::aFullBarIsNotLeftOverByAnAdapterThatIsGone()
{
    const SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, "image");
    const Awaited reply;
    stopBehindTheLastRecord(bench, reply);
    bench.press();
    QCOMPARE(bench.buttonText(), StopText);
    adapter.setAdapters(0);
    const ModalWatch<QMessageBox> watch([&](const QMessageBox &box) {
        QCOMPARE(box.informativeText(), QStringLiteral("SUB-20 not connected!"));
        verifyBarIsEmpty(bench);
    });
    reply.release();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(watch.count(), 1);
    verifyBarIsEmpty(bench);
    verifySessionEnded(bench, false);
}

void WaitingStartTest::itTakesThePortOfItsStart()
{
    const QByteArray image = unevenBytes(100);
    const PanelProcess panel;
    WindowBench bench;
    bench.start(QString(), image);
    const Awaited reply;
    stopBehindTheLastRecord(bench, reply);
    bench.probe().setConnectionType(ConnectionComPort);
    bench.probe().setPortName(panel.path());
    bench.press();
    bench.probe().setConnectionType(ConnectionNone);
    bench.probe().setPortName(QStringLiteral("/nowhere/ttyNEXT"));
    reply.release();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(panel.image(), image);
}

QTEST_MAIN(WaitingStartTest)
#include "tst_waitingstart.moc"
