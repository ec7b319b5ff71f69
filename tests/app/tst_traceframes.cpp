// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/testcase.h"
#include "tests/trace/tracehandler.h"

namespace {

const QString TraceFrames = QStringLiteral("trace_frames");

// The frames of an image of 33 bytes that count up, for the panel 80.
const QString Record0 = QStringLiteral("50|15|27 06 00 00 00 00 00 10 00 01 02 03 04 05 \n"
                                       "    06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 \n"
                                       "    16 17 18 19 1A 1B 1C 1D 1E 1F 73_23 ");
const QString Record1 = QStringLiteral("50|15|09 06 00 00 00 01 00 01 20 00 6F_81 ");
const QString Refused1 = QStringLiteral("50|95|02 9F_40 ");

QString sent(const QString &frame)
{
    return QStringLiteral("info: --> ") + frame;
}

QString got(const QString &frame)
{
    return QStringLiteral("info: <-- ") + frame;
}

/// Those of the lines that are frames.
QStringList frames(const QStringList &lines)
{
    static const QRegularExpression frame(QStringLiteral("^\\w+: (-->|<--)"));
    return lines.filter(frame);
}

} // namespace

/// The frames of a real update in the log, with the key trace_frames and without.
class TraceFramesTest : public TestCase
{
    Q_OBJECT

private slots:
    void overASerialPort_data();
    void overASerialPort();
    void throughTheAdapter_data();
    void throughTheAdapter();
    void aBroadcastHasNoReply();
    void reachesTheTrace();

private:
    static void addValues();
};

/// Rows of the key's value, null for none, whether the panel refuses record 1, and the frames of the update.
void TraceFramesTest::addValues()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("refuses");
    QTest::addColumn<QStringList>("lines");
    const QStringList good{sent(Record0), got(Record0), sent(Record1), got(Record1)};
    const QStringList refused{sent(Record0), got(Record0), sent(Record1), got(Refused1)};
    QTest::newRow("no key") << QString() << false << QStringList();
    QTest::newRow("no key, refused") << QString() << true << QStringList();
    QTest::newRow("off") << QStringLiteral("false") << false << QStringList();
    QTest::newRow("a value that is no good") << QStringLiteral("1") << false << QStringList();
    QTest::newRow("on") << QStringLiteral("true") << false << good;
    QTest::newRow("on, refused") << QStringLiteral("true") << true << refused;
}

void TraceFramesTest::overASerialPort_data()
{
    addValues();
}

void TraceFramesTest::overASerialPort()
{
    QFETCH(const QString, value);
    QFETCH(const bool, refuses);
    const QStringList misbehaviour{QStringLiteral("--exception"), QStringLiteral("2"),
                                   QStringLiteral("--from-record"), QStringLiteral("1")};
    Upload upload(refuses ? misbehaviour : QStringList(),
                  value.isNull() ? QVariantMap() : QVariantMap{{TraceFrames, value}});
    QCOMPARE(upload.run(countingBytes(0, 33)), refuses ? 40 : 0);
    QTEST(frames(upload.log.take()), "lines");
}

void TraceFramesTest::throughTheAdapter_data()
{
    addValues();
}

void TraceFramesTest::throughTheAdapter()
{
    QFETCH(const QString, value);
    QFETCH(const bool, refuses);
    SimulatedAdapter adapter;
    if (refuses)
        adapter.set("RS", "exception=2,from-record=1");
    WindowBench bench(adapter);
    if (!value.isNull())
        bench.settings.setValue(QStringLiteral("options/") + TraceFrames, value);
    bench.start(ModbusText, countingBytes(0, 33));
    MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), refuses ? 40 : 0);
    QTEST(frames(log.take()), "lines");
}

void TraceFramesTest::aBroadcastHasNoReply()
{
    Upload upload({}, {{TraceFrames, true}});
    upload.bench.probe().setDeviceAddress(0);
    QCOMPARE(upload.run(countingBytes(0, 2)), 0);
    QCOMPARE(frames(upload.log.take()),
             QStringList(sent(QStringLiteral("00|15|09 06 00 00 00 00 00 01 00 01 4A_81 "))));
}

void TraceFramesTest::reachesTheTrace()
{
    const HandlerGuard guard;
    const SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("options/") + TraceFrames, QStringLiteral("true"));
    MainWindow &window = bench.start(ModbusText, countingBytes(0, 33));
    window.logHotKeyPressed();
    bench.press();
    QVERIFY(bench.waitForEnd());
    QTRY_VERIFY(shownText().contains(QStringLiteral("<-- ") + Record1.trimmed()));
    for (const QString &line : (QStringLiteral("--> ") + Record0).split(u'\n'))
        QVERIFY2(shownText().contains(line.trimmed()), qPrintable(shownText()));
}

QTEST_MAIN(TraceFramesTest)
#include "tst_traceframes.moc"
