// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

#include <QSemaphore>

namespace {

const QVariantMap TellThem{{QStringLiteral("tell_silent_failures"), true}};
const QString NoReply = QStringLiteral("The panel does not reply (result 138)");
const QString TooLong = QStringLiteral("The panel's reply is too long (result 27)");

} // namespace

/// Failures for which the program has no error box of their own, with the key tell_silent_failures and
/// without.
class SilentFailuresTest : public TestCase
{
    Q_OBJECT

private slots:
    void aFailedUpload_data();
    void aFailedUpload();
    void everyResult_data();
    void everyResult();
    void refusedValuesTellNothing_data();
    void refusedValuesTellNothing();
    void anInfraredFailureIsToldOnce();
    void aStopIsNoFailure();
    void aRunThatWasStoppedReportsNothing();
    void everyRunIsReportedByItself();
    void theWindowThatIsClosedShowsNoBox();
};

void SilentFailuresTest::aFailedUpload_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("usually");
    QTest::addColumn<QStringList>("withTheKey");
    const auto row = [](const char *arguments, int result, const QStringList &usually,
                        const QStringList &withTheKey) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << result << usually << withTheKey;
    };
    const auto same = [&row](const char *arguments, int result, const char *text) {
        row(arguments, result, {QString::fromLatin1(text)}, {QString::fromLatin1(text)});
    };
    row("--hang-up", 138, {}, {NoReply});
    row("--oversize 400", 27, {}, {TooLong});
    same("--exception 4", 40, "Modbus Exception: Slave Device Failure");
    same("--flip-crc", 104, "CRC error");
    same("--cut 2", 32, "Frame incomplete (sz=2)\n");
    row("--late-ms 1", 0, {}, {});
}

void SilentFailuresTest::aFailedUpload()
{
    QFETCH(const QString, arguments);
    QFETCH(const QStringList, usually);
    QFETCH(const QStringList, withTheKey);
    for (const bool tells : {false, true}) {
        Upload upload((arguments + QStringLiteral(" --from-record 2")).split(u' '),
                      tells ? TellThem : QVariantMap());
        const int result = upload.run(makeBytes(320));
        QTEST(result, "result");
        QTRY_COMPARE(upload.boxes.informativeTexts(), tells ? withTheKey : usually);
        QCOMPARE(upload.log.count(CanceledText), 0);
        verifySessionEnded(upload.bench, result == 0);
    }
}

void SilentFailuresTest::everyResult_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("told");
    QTest::newRow("success") << 0 << QStringList();
    QTest::newRow("failed or stopped") << -1 << QStringList();
    QTest::newRow("short write") << 1
                                 << QStringList(QStringLiteral(
                                        "The serial port cannot be written or read (result 1)"));
    QTest::newRow("overflow") << 27 << QStringList(TooLong);
    QTest::newRow("time-out") << 138 << QStringList(NoReply);
    QTest::newRow("another") << 7 << QStringList(QStringLiteral("The update failed (result 7)"));
}

void SilentFailuresTest::everyResult()
{
    QFETCH(const int, result);
    QFETCH(const QStringList, told);
    for (const bool tells : {false, true}) {
        Upload upload({}, tells ? TellThem : QVariantMap());
        upload.bench.runLoader([result] { return result; });
        QCOMPARE(upload.boxes.informativeTexts(), tells ? told : QStringList());
    }
}

void SilentFailuresTest::refusedValuesTellNothing_data()
{
    QTest::addColumn<QString>("value");
    for (const char *const value : {"", "1", "-1", "1001", "yes", "false"})
        QTest::addRow("\"%s\"", value) << QString::fromLatin1(value);
}

void SilentFailuresTest::refusedValuesTellNothing()
{
    QFETCH(const QString, value);
    Upload upload({}, {{QStringLiteral("tell_silent_failures"), value}});
    upload.bench.runLoader([] { return 138; });
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}

void SilentFailuresTest::anInfraredFailureIsToldOnce()
{
    SimulatedAdapter adapter;
    adapter.set("FAIL", "sub_ir_tx:1:3");
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("options/tell_silent_failures"), QStringLiteral("true"));
    bench.start(InfraRedText, makeBytes(96));
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 3);
    QTRY_COMPARE(boxes.informativeTexts().size(), 1);
    QVERIFY(boxes.informativeTexts().constFirst().startsWith(QStringLiteral("SUB-20 sub_ir_tx: ")));
}

void SilentFailuresTest::aStopIsNoFailure()
{
    Upload upload({}, TellThem);
    upload.begin(makeBytes(200 * ChunkSize));
    QTRY_VERIFY(upload.lines().size() >= 2);
    upload.bench.press();
    QCOMPARE(upload.finish(), -1);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}

void SilentFailuresTest::aRunThatWasStoppedReportsNothing()
{
    Upload upload({}, TellThem);
    QSemaphore stopped;
    upload.bench.widget<QLineEdit>("lineEdit")->setText(QStringLiteral("image"));
    upload.bench.probe().start([&stopped] {
        stopped.acquire();
        return 138;
    });
    upload.bench.widget<QPushButton>("updBtn")->setText(QStringLiteral("Stop"));
    upload.bench.press();
    stopped.release();
    QVERIFY(upload.bench.waitForEnd());
    QCoreApplication::processEvents();
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}

// The text of one run is not counted as the next one's.
void SilentFailuresTest::everyRunIsReportedByItself()
{
    Upload upload({}, TellThem);
    upload.bench.runLoader([&upload] {
        emit upload.bench.probe().emitter()->errorSignal(QStringLiteral("It broke"));
        return 138;
    });
    upload.bench.runLoader([] { return 138; });
    QTRY_COMPARE(upload.boxes.informativeTexts(), QStringList({QStringLiteral("It broke"), NoReply}));
}

void SilentFailuresTest::theWindowThatIsClosedShowsNoBox()
{
    Upload upload({}, TellThem);
    upload.bench.window().show();
    QSemaphore closed;
    upload.bench.probe().start([&closed] {
        closed.acquire();
        return 138;
    });
    upload.bench.window().close();
    closed.release();
    emit upload.bench.probe().emitter()->errorSignal(QStringLiteral("It broke"));
    QTRY_VERIFY(upload.bench.probe().future().isFinished());
    QCoreApplication::processEvents();
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}

QTEST_MAIN(SilentFailuresTest)
#include "tst_silentfailures.moc"
