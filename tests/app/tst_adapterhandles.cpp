// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/bytes.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

#include <QAction>
#include <QMenu>

namespace {

constexpr quint16 ConverterVendorId = 0x0403;
const QString PortName = QStringLiteral("ttyUSB60");
const QString Nowhere = QStringLiteral("/nowhere/panel.INC");

/// Picks a connection in the menu.
void choose(const WindowBench &bench, const QString &connection)
{
    const QList<QAction *> actions = bench.widget<QMenu>("menuActions")->actions();
    for (QAction *const action : actions) {
        if (action->text() == connection) {
            action->trigger();
            return;
        }
    }
    QTest::qFail(qPrintable(connection + QStringLiteral(" is not in the menu")), __FILE__, __LINE__);
}

/// Runs an update to its end and gives its result.
int run(const WindowBench &bench)
{
    bench.press();
    const bool hasEnded = bench.waitForEnd();
    [&] { QVERIFY(hasEnded); }();
    return bench.probe().future().result();
}

/// Starts an update and waits until it sends.
void startAndWait(const WindowBench &bench, const SimulatedAdapter &adapter)
{
    const auto transfers = [&] {
        return adapter.calls(QStringLiteral("sub_ir_tx")).size() +
               adapter.calls(QStringLiteral("sub_rs_xfer")).size();
    };
    const qsizetype before = transfers();
    bench.press();
    QTRY_VERIFY(transfers() > before);
}

} // namespace

/// The adapter is opened for a run and closed behind it, each time exactly once, however the run ends.
class AdapterHandlesTest : public TestCase
{
    Q_OBJECT

private slots:
    void cleanup();

    void oneOfTwoAdaptersIsOpened_data();
    void oneOfTwoAdaptersIsOpened();
    void eachRunHasItsOwnHandle_data();
    void eachRunHasItsOwnHandle();
    void aRunThatFailsBeforeOpeningClosesNothing_data();
    void aRunThatFailsBeforeOpeningClosesNothing();
    void aHandleIsClosedOnceEvenIfClosingFails();
    void theMenuIsSwitchedDuringTheRun_data();
    void theMenuIsSwitchedDuringTheRun();
    void stopThenStartWithinOneBlock_data();
    void stopThenStartWithinOneBlock();
    void closingTheWindowInTheMiddle_data();
    void closingTheWindowInTheMiddle();
    void closingTheWindowBetweenStopAndStart();

private:
    static void addConnections();
};

/// A window that was closed in the middle of a run leaves its cursor to the end of the program.
void AdapterHandlesTest::cleanup()
{
    while (QGuiApplication::overrideCursor())
        QGuiApplication::restoreOverrideCursor();
}

void AdapterHandlesTest::addConnections()
{
    QTest::addColumn<QString>("connection");
    QTest::newRow("infrared") << InfraRedText;
    QTest::newRow("Modbus") << ModbusText;
}

void AdapterHandlesTest::oneOfTwoAdaptersIsOpened_data()
{
    addConnections();
}

void AdapterHandlesTest::oneOfTwoAdaptersIsOpened()
{
    QFETCH(const QString, connection);
    SimulatedAdapter adapter(2);
    WindowBench bench(adapter);
    bench.start(connection, unevenBytes(96));
    QStringList entries;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions())
        entries += action->text();
    QCOMPARE(entries, (QStringList{InfraRedText, ModbusText}));
    QCOMPARE(run(bench), 0);
    QCOMPARE(withoutHandles(adapter.calls(QStringLiteral("sub_open"))),
             QStringList{QStringLiteral("sub_open null = h")});
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterHandlesTest::eachRunHasItsOwnHandle_data()
{
    QTest::addColumn<QByteArray>("reuse");
    QTest::newRow("new handles") << QByteArray("0");
    QTest::newRow("the same handle again") << QByteArray("1");
}

void AdapterHandlesTest::eachRunHasItsOwnHandle()
{
    QFETCH(const QByteArray, reuse);
    SimulatedAdapter adapter;
    adapter.set("REUSE_HANDLE", reuse);
    adapter.set("EXCLUSIVE", "1");
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(96));
    for (int round = 1; round <= 6; ++round) {
        choose(bench, round % 3 == 0 ? InfraRedText : ModbusText);
        QCOMPARE(run(bench), 0);
        QCOMPARE(opens(adapter.log()), round);
        QCOMPARE(handleFaults(adapter.log()), QStringList());
    }
    bench.close();
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterHandlesTest::aRunThatFailsBeforeOpeningClosesNothing_data()
{
    addConnectionsAndHandles();
}

void AdapterHandlesTest::aRunThatFailsBeforeOpeningClosesNothing()
{
    QFETCH(const QString, connection);
    QFETCH(const QByteArray, reuse);
    SimulatedAdapter adapter;
    adapter.set("REUSE_HANDLE", reuse);
    WindowBench bench(adapter);
    bench.start(connection, unevenBytes(96));
    const QString image = bench.probe().imageFileName();
    const MessageBoxes boxes;
    QCOMPARE(run(bench), 0);
    const qsizetype closes = adapter.calls(QStringLiteral("sub_close")).size();

    choose(bench, ModbusText); // whose image does not open, so that the adapter is not asked
    bench.probe().setImageFileName(Nowhere);
    QCOMPARE(run(bench), -1);
    QCOMPARE(adapter.calls(QStringLiteral("sub_close")).size(), closes);
    choose(bench, connection);
    bench.probe().setImageFileName(image);
    adapter.setAdapters(0); // the adapter does not open
    QCOMPARE(run(bench), -1);
    QCOMPARE(adapter.calls(QStringLiteral("sub_close")).size(), closes);
    QCOMPARE(boxes.contents().size(), 2);

    adapter.setAdapters(1);
    QCOMPARE(run(bench), 0);
    QCOMPARE(opens(adapter.log()), 2);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterHandlesTest::aHandleIsClosedOnceEvenIfClosingFails()
{
    SimulatedAdapter adapter;
    adapter.set("FAIL", "sub_close:1:-9");
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(96));
    QCOMPARE(run(bench), 0);
    verifySessionEnded(bench, true);
    QCOMPARE(run(bench), 0);
    bench.close();
    QCOMPARE(opens(adapter.log()), 2);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterHandlesTest::theMenuIsSwitchedDuringTheRun_data()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<QString>("other");
    QTest::newRow("infrared to Modbus") << InfraRedText << ModbusText;
    QTest::newRow("infrared to a serial port") << InfraRedText << PortName;
    QTest::newRow("Modbus to infrared") << ModbusText << InfraRedText;
    QTest::newRow("Modbus to a serial port") << ModbusText << PortName;
}

void AdapterHandlesTest::theMenuIsSwitchedDuringTheRun()
{
    QFETCH(const QString, connection);
    QFETCH(const QString, other);
    const QByteArray image = unevenBytes(20 * 48);
    SimulatedAdapter adapter;
    adapter.set("IR_TIME", "20");
    adapter.set("RS_TIME", "30");
    WindowBench bench(adapter);
    bench.devices.addSerialPort(PortName, QStringLiteral("USB Serial Converter"), ConverterVendorId);
    bench.start(connection, image);
    startAndWait(bench, adapter);
    choose(bench, other);
    QVERIFY(bench.probe().sessionOpen());
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(connection == InfraRedText ? adapter.infraredImage() : adapter.modbusImage(), image);
    QCOMPARE(handleFaults(adapter.log()), QStringList());

    if (other == PortName) // which nothing stands behind
        return;
    const QByteArray second = unevenBytes(96);
    bench.probe().setImageFileName(bench.makeImage(second, QStringLiteral("second.INC")));
    QCOMPARE(run(bench), 0);
    QCOMPARE(other == InfraRedText ? adapter.infraredImage() : adapter.modbusImage(), second);
    QCOMPARE(opens(adapter.log()), 2);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterHandlesTest::stopThenStartWithinOneBlock_data()
{
    addConnectionsAndHandles();
}

void AdapterHandlesTest::stopThenStartWithinOneBlock()
{
    QFETCH(const QString, connection);
    QFETCH(const QByteArray, reuse);
    const QByteArray image = unevenBytes(2 * 48);
    SimulatedAdapter adapter;
    adapter.set("REUSE_HANDLE", reuse);
    adapter.set("EXCLUSIVE", "1"); // a run that begins too early cannot open the adapter
    adapter.set("IR_TIME", "30");
    adapter.set("RS_TIME", "100");
    WindowBench bench(adapter);
    bench.start(connection, unevenBytes(200 * 48));
    const MessageBoxes boxes;
    startAndWait(bench, adapter);
    const QFuture<int> stopped = bench.probe().future();
    bench.press();
    bench.probe().setImageFileName(bench.makeImage(image, QStringLiteral("second.INC")));
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(stopped.result(), -1);
    QCOMPARE(bench.probe().future().result(), 0);
    QVERIFY(boxes.contents().isEmpty());
    QCOMPARE(connection == InfraRedText ? adapter.infraredImage() : adapter.modbusImage(), image);
    QCOMPARE(opens(adapter.log()), 2);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterHandlesTest::closingTheWindowInTheMiddle_data()
{
    addConnections();
}

void AdapterHandlesTest::closingTheWindowInTheMiddle()
{
    QFETCH(const QString, connection);
    SimulatedAdapter adapter;
    adapter.set("IR_TIME", "20");
    adapter.set("RS_TIME", "50");
    WindowBench bench(adapter);
    bench.start(connection, unevenBytes(200 * 48));
    startAndWait(bench, adapter);
    const QFuture<int> future = bench.probe().future();
    bench.close();
    QVERIFY(future.isFinished());
    QCOMPARE(future.result(), -1);
    QCOMPARE(opens(adapter.log()), 1);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

void AdapterHandlesTest::closingTheWindowBetweenStopAndStart()
{
    SimulatedAdapter adapter;
    adapter.set("IR_TIME", "50");
    WindowBench bench(adapter);
    bench.start(InfraRedText, unevenBytes(100 * 48));
    startAndWait(bench, adapter);
    bench.press();
    bench.press();
    bench.close();
    QCOMPARE(opens(adapter.log()), 1);
    QCOMPARE(handleFaults(adapter.log()), QStringList());
}

QTEST_MAIN(AdapterHandlesTest)
#include "tst_adapterhandles.moc"
