// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/bytes.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QThread>

#include <optional>

namespace {

constexpr int BlockSize = 48;
/// In which the program has to be gone once the user closes it.
constexpr int CloseTimeoutMs = 30000;
const QString NotConnected = QStringLiteral("SUB-20 not connected!");
const QString Transmission = QStringLiteral("sub_ir_tx");

/// The mouse cursor that the whole program shows instead of its widgets' own, if any.
std::optional<Qt::CursorShape> overrideShape()
{
    const QCursor *const cursor = QGuiApplication::overrideCursor();
    return cursor ? std::optional(cursor->shape()) : std::nullopt;
}

/// Looks at the cursor, on the window's thread, while the loader reports its start or of an error.
class CursorLook : public QObject
{
public:
    explicit CursorLook(const Emitter &emitter)
    {
        connect(&emitter, &Emitter::load_start, this, [this] { shape = overrideShape(); });
        connect(&emitter, &Emitter::errorSignal, this, [this] { shape = overrideShape(); });
    }

    std::optional<Qt::CursorShape> shape;
};

} // namespace

/// What an upload by infrared does to the program around it: the wait cursor, and the box for a missing
/// adapter, both asked for by the loader on its own thread.
class InfraredSessionTest : public TestCase
{
    Q_OBJECT

private slots:
    void cleanup();

    void theWaitCursorComesAndGoes_data();
    void theWaitCursorComesAndGoes();
    void theWaitCursorStaysUntilTheLoaderReturns();
    void theWaitCursorEndsAfterALoaderThatThrows();
    void waitCursorsDoNotPileUp();

    void theBoxIsShownByTheWindowsThread();
    void theWindowIsUsableAfterTheBox();
    void closingBeforeTheBoxIsShown();
    void closingUnderTheBox_data();
    void closingUnderTheBox();
};

/// A window that was closed in the middle of a run leaves its cursor to the end of the program.
void InfraredSessionTest::cleanup()
{
    while (QGuiApplication::overrideCursor())
        QGuiApplication::restoreOverrideCursor();
}

void InfraredSessionTest::theWaitCursorComesAndGoes_data()
{
    QTest::addColumn<QByteArray>("failure");
    QTest::addColumn<QString>("imageName");
    const QString image;
    QTest::newRow("success") << QByteArray() << image;
    QTest::newRow("configuration refused") << QByteArray("sub_ir_config:1:7") << image;
    QTest::newRow("transmission refused") << QByteArray("sub_ir_tx:5:7") << image;
    QTest::newRow("image missing") << QByteArray() << QStringLiteral("/nowhere/panel.INC");
}

void InfraredSessionTest::theWaitCursorComesAndGoes()
{
    QFETCH(const QByteArray, failure);
    QFETCH(const QString, imageName);
    SimulatedAdapter adapter;
    adapter.set("FAIL", failure);
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(100));
    if (!imageName.isEmpty())
        bench.probe().setImageFileName(imageName);
    const CursorLook look(*bench.probe().emitter());
    const MessageBoxes boxes;
    QCOMPARE(overrideShape(), std::nullopt);
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(look.shape, Qt::WaitCursor);
    QCOMPARE(overrideShape(), std::nullopt);
}

void InfraredSessionTest::theWaitCursorStaysUntilTheLoaderReturns()
{
    SimulatedAdapter adapter;
    adapter.set("IR_TIME", "200");
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(100 * BlockSize));
    bench.press();
    QTRY_COMPARE(overrideShape(), Qt::WaitCursor);
    // Its first frame, which takes 0.6 s, is under way.
    QTRY_VERIFY(!adapter.infraredImage().isEmpty());
    bench.press();
    QVERIFY(bench.probe().sessionOpen());
    QCOMPARE(overrideShape(), Qt::WaitCursor);
    QVERIFY(bench.waitForEnd());
    QCOMPARE(overrideShape(), std::nullopt);
}

void InfraredSessionTest::theWaitCursorEndsAfterALoaderThatThrows()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(100));
    const CursorLook look(*bench.probe().emitter());
    connect(
        bench.probe().emitter(), &Emitter::load_start, bench.probe().emitter(), [] { throw 42; },
        Qt::DirectConnection);
    for (int round = 0; round < 3; ++round) {
        bench.press();
        QTRY_VERIFY(!bench.probe().sessionOpen());
        QTRY_COMPARE(overrideShape(), std::nullopt);
        QCOMPARE(look.shape, Qt::WaitCursor);
    }
    verifySessionEnded(bench, false);
    QCOMPARE(opens(adapter.log()), 3);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void InfraredSessionTest::waitCursorsDoNotPileUp()
{
    const QByteArray image = unevenBytes(2 * BlockSize);
    SimulatedAdapter adapter;
    adapter.set("IR_TIME", "20");
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(200 * BlockSize));
    const QString longImage = bench.probe().imageFileName();
    const QString shortImage = bench.makeImage(image, QStringLiteral("short.INC"));
    for (int round = 0; round < 5; ++round) {
        bench.probe().setImageFileName(longImage);
        const qsizetype sent = adapter.calls(Transmission).size();
        bench.press(); // Start
        QTRY_VERIFY(adapter.calls(Transmission).size() > sent);
        bench.press(); // Stop
        bench.press(); // Start
        bench.press(); // Stop
        bench.probe().setImageFileName(shortImage);
        bench.press(); // Start
        QVERIFY(bench.waitForEnd());
        QCOMPARE(bench.probe().future().result(), 0);
        QCOMPARE(adapter.infraredImage(), image);
        QCOMPARE(overrideShape(), std::nullopt);
        verifySessionEnded(bench, true);
    }
    QCOMPARE(opens(adapter.log()), 10);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void InfraredSessionTest::theBoxIsShownByTheWindowsThread()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(100));
    adapter.setAdapters(0);
    const ModalWatch<QMessageBox> watch([&](const QMessageBox &box) {
        QCOMPARE(box.informativeText(), NotConnected);
        QCOMPARE(QThread::currentThread(), bench.window().thread());
        QCOMPARE(box.thread(), bench.window().thread());
        QCOMPARE(overrideShape(), Qt::WaitCursor);
        QVERIFY(bench.probe().sessionOpen());
        QVERIFY(!bench.probe().future().isFinished());
    });
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(watch.count(), 1);
    QCOMPARE(overrideShape(), std::nullopt);
}

void InfraredSessionTest::theWindowIsUsableAfterTheBox()
{
    const QByteArray image = unevenBytes(96);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, image);
    const MessageBoxes boxes;
    for (int round = 1; round <= 3; ++round) {
        adapter.setAdapters(0);
        bench.press();
        QVERIFY(bench.waitForEnd());
        QCOMPARE(boxes.informativeTexts().count(NotConnected), round);
        verifySessionEnded(bench, false);
        adapter.setAdapters(1);
        bench.press();
        QVERIFY(bench.waitForEnd());
        QCOMPARE(bench.probe().future().result(), 0);
        verifySessionEnded(bench, true);
    }
    QCOMPARE(adapter.infraredImage(), image);
    QCOMPARE(boxes.contents().size(), 3);
    QCOMPARE(opens(adapter.log()), 3);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void InfraredSessionTest::closingBeforeTheBoxIsShown()
{
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(100));
    adapter.setAdapters(0);
    const MessageBoxes boxes;
    bench.press();
    const QFuture<int> future = bench.probe().future();
    // No events meanwhile: the loader waits for a box that nobody shows.
    while (adapter.calls(QStringLiteral("sub_open")).isEmpty())
        QThread::yieldCurrentThread();
    QElapsedTimer timer;
    timer.start();
    bench.close();
    QVERIFY2(timer.elapsed() < CloseTimeoutMs, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(future.isFinished());
    QCOMPARE(future.result(), -1);
    QVERIFY(boxes.contents().isEmpty());
}

void InfraredSessionTest::closingUnderTheBox_data()
{
    QTest::addColumn<bool>("isQuit");
    QTest::newRow("the system ends the program") << true;
    QTest::newRow("the window is closed, then the box") << false;
}

void InfraredSessionTest::closingUnderTheBox()
{
    QFETCH(const bool, isQuit);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(100)).show();
    adapter.setAdapters(0);
    QElapsedTimer timer;
    const ModalWatch<QMessageBox> watch([&](const QMessageBox &) {
        timer.start();
        if (isQuit)
            QCoreApplication::quit();
        else
            bench.window().close();
    });
    QTimer::singleShot(0, &bench.window(), [&] { bench.press(); });
    QCoreApplication::exec();
    const QFuture<int> future = bench.probe().future();
    bench.close();
    QCOMPARE(watch.count(), 1);
    QVERIFY2(timer.elapsed() < CloseTimeoutMs, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(future.isFinished());
    QCOMPARE(future.result(), -1);
}

QTEST_MAIN(InfraredSessionTest)
#include "tst_infraredsession.moc"
