// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "tests/app/awakepath.h"
#include "tests/support/testcase.h"

#include <QLineEdit>

/// That the computer is kept awake from the start of a run to its end, whichever way it ends, and at no other
/// time.
class StayAwakeTest : public TestCase
{
    Q_OBJECT

private slots:
    void fromTheStartToTheEnd_data();
    void fromTheStartToTheEnd();
    void aWaitingStartKeepsIt();
    void nothingRunsNothingIsHeld();
};

void StayAwakeTest::fromTheStartToTheEnd_data()
{
    QTest::addColumn<QStringList>("calls");
    for (const QString &path : AwakePaths) {
        QStringList calls{QStringLiteral("hold")};
        if (path.startsWith(QStringLiteral("stop")) && path != QStringLiteral("stop"))
            calls += QStringLiteral("hold");
        calls += endsTheWindow(path) ? QStringLiteral("end") : QStringLiteral("release");
        QTest::newRow(qPrintable(path)) << calls;
    }
}

void StayAwakeTest::fromTheStartToTheEnd()
{
    QFETCH(const QStringList, calls);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    walk(QString::fromLatin1(QTest::currentDataTag()), bench, adapter, [&bench] {
        QVERIFY(!bench.devices.awake().isEmpty());
        QCOMPARE(bench.devices.awake().count(QStringLiteral("hold")), bench.devices.awake().size());
    });
    QCOMPARE(bench.devices.awake(), calls);
}

void StayAwakeTest::aWaitingStartKeepsIt()
{
    SimulatedAdapter adapter;
    adapter.set("RS_TIME", "200");
    WindowBench bench(adapter);
    bench.start(ModbusText, QByteArray(200, 'x'));
    bench.press();
    QTRY_VERIFY(!adapter.calls(QStringLiteral("sub_rs_timing")).isEmpty());
    const QFuture<int> first = bench.probe().future();
    bench.press();
    bench.press();
    QTRY_VERIFY(first.isFinished());
    QTRY_VERIFY(!bench.probe().stopRequested());
    QVERIFY(!bench.devices.awake().contains(QStringLiteral("release")));
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.devices.awake().count(QStringLiteral("release")), 1);
}

void StayAwakeTest::nothingRunsNothingIsHeld()
{
    WindowBench bench;
    const MessageBoxes boxes;
    bench.start(QString(), "image");
    QCOMPARE(bench.probe().connectionType(), int(ConnectionNone));
    bench.press();
    bench.press();
    bench.widget<QLineEdit>("lineEdit")->clear();
    bench.widget<QPushButton>("updBtn")->setEnabled(true);
    bench.press();
    QCOMPARE(boxes.informativeTexts(), QStringList(QStringLiteral("Image file not selected!")));
    bench.close();
    QCOMPARE(bench.devices.awake(), QStringList(QStringLiteral("end")));
}

QTEST_MAIN(StayAwakeTest)
#include "tst_stayawake.moc"
