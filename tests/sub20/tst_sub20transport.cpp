// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"
#include "tests/support/bytes.h"
#include "tests/support/messagelog.h"
#include "tests/support/outputcapture.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>

#include <limits>

/// Modbus over the RS-485 port of the adapter.
class Sub20TransportTest : public TestCase
{
    Q_OBJECT

private slots:
    void requestAndReplyPassTheAdapter();
    void identityHasAShorterTimeout();
    void replyIsJudged_data();
    void replyIsJudged();
    void libraryErrorIsReportedByItsText_data();
    void libraryErrorIsReportedByItsText();
    void silentPanelIsATimeout();
    void replySize_data();
    void replySize();
    void countBeyondTheReceiveSizeIsNotBelieved();
    void refusedTimingDoesNotEndTheTransaction();
    void broadcastWaitsShortlyAndPauses();
    void replyToABroadcastIsDumpedOnly();
    void closedHandleIsAnError();
};

namespace {

/// A Modbus and an open adapter. `events` has what it logs and what it reports as errors, in their order.
class AdapterLink
{
public:
    explicit AdapterLink(const QByteArray &variable = {}, const QByteArray &value = {})
    {
        QObject::connect(&modbus, &Modbus::errorString, &modbus,
                         [this](const QString &text) { events.add(QStringLiteral("error: ") + text); });
        if (!variable.isEmpty())
            adapter.set(variable, value);
        modbus.setAdapter(adapter.binding());
        QVERIFY(adapter.binding().findDevices(nullptr) != nullptr);
        handle = adapter.binding().open(nullptr);
        QVERIFY(handle != nullptr);
    }
    ~AdapterLink() { adapter.binding().close(handle); }
    AdapterLink(const AdapterLink &) = delete;
    AdapterLink &operator=(const AdapterLink &) = delete;

    qint32 writeChunk(quint8 address = 80)
    {
        const QByteArray data = countingBytes(0, 32);
        return modbus.writeFileRecord(handle, address, 0, 0, 32, byteView(data).data());
    }
    /// The calls behind sub_open, without the handle's name.
    QStringList calls() const
    {
        QStringList calls = adapter.log().mid(2);
        return calls.replaceInStrings(QRegularExpression(QStringLiteral(" h\\d+")), QStringLiteral(" h"));
    }

    SimulatedAdapter adapter;
    MessageLog events;
    Modbus modbus;
    sub_handle handle = nullptr;
};

} // namespace

void Sub20TransportTest::requestAndReplyPassTheAdapter()
{
    AdapterLink link;
    QCOMPARE(link.writeChunk(), 0);
    QCOMPARE(link.calls(), (QStringList{QStringLiteral("sub_rs_timing h 2 0 1000000 10000 = 0"),
                                        QStringLiteral("sub_rs_xfer h 44 62 = 44")}));
    QCOMPARE(link.adapter.modbusImage(), countingBytes(0, 32));
    QCOMPARE(link.events.take(), QStringList());
}

void Sub20TransportTest::identityHasAShorterTimeout()
{
    AdapterLink link;
    OutputCapture output;
    const qint32 result = link.modbus.readDeviceId(link.handle, 80, 4, 0);
    const QByteArray text = output.finish();
    QCOMPARE(result, 0);
    QCOMPARE(text, QByteArray("Address:080(0x50)\n   Vendor        : Norvantic\n"));
    QCOMPARE(link.calls(), (QStringList{QStringLiteral("sub_rs_timing h 2 0 100000 10000 = 0"),
                                        QStringLiteral("sub_rs_xfer h 7 62 = 21")}));
}

void Sub20TransportTest::replyIsJudged_data()
{
    QTest::addColumn<QByteArray>("misbehaviour");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("events");

    const auto row = [](const char *misbehaviour, int result, const char *text) {
        QTest::newRow(misbehaviour) << QByteArray(misbehaviour) << result
                                    << QStringList{QStringLiteral("error: ") + QString::fromLatin1(text)};
    };
    row("exception=1", 40, "Modbus Exception: Illegal Function");
    row("exception=0x0B", 40, "Modbus Exception: 11 - Unknown");
    row("flip-crc", 104, "CRC error");
    row("cut=1", 32, "Frame incomplete (sz=1)\n");
    row("cut=2", 32, "Frame incomplete (sz=2)\n");
    row("cut=3", 104, "CRC error");
    row("trailing=1", 104, "CRC error");
    QTest::newRow("late-ms=300") << QByteArray("late-ms=300") << 0 << QStringList();
}

void Sub20TransportTest::replyIsJudged()
{
    QFETCH(QByteArray, misbehaviour);
    AdapterLink link("RS", misbehaviour);
    QTEST(link.writeChunk(), "result");
    QTEST(link.events.take(), "events");
}

void Sub20TransportTest::libraryErrorIsReportedByItsText_data()
{
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");

    const QString error = QStringLiteral("error: sub_rs_xfer: simulated adapter error %1");
    QTest::newRow("result and error number")
        << QByteArray("FAIL") << QByteArray("sub_rs_xfer:1:-7:99") << 7 << error.arg(99);
    QTest::newRow("large result") << QByteArray("FAIL") << QByteArray("sub_rs_xfer:1:-70000") << 70000
                                  << error.arg(-70000);
    QTest::newRow("result of a wrong line echo")
        << QByteArray("FAIL") << QByteArray("sub_rs_xfer:1:-65537") << 65537 << error.arg(-65537);
    QTest::newRow("smallest result") << QByteArray("FAIL") << QByteArray("sub_rs_xfer:1:-2147483648")
                                     << 2147483647 << error.arg(std::numeric_limits<int>::min());
    QTest::newRow("pulled out") << QByteArray("PULL_OUT") << QByteArray("1") << 5 << error.arg(-5);
    QTest::newRow("line closed") << QByteArray("RS") << QByteArray("hang-up") << 5 << error.arg(-5);
    QTest::newRow("no text") << QByteArray("FAIL") << QByteArray("sub_rs_xfer:1:-7;sub_strerror:1:0") << 7
                             << QStringLiteral("error: sub_rs_xfer: ");
}

void Sub20TransportTest::libraryErrorIsReportedByItsText()
{
    QFETCH(QByteArray, variable);
    QFETCH(QByteArray, value);
    QFETCH(QString, text);
    for (const bool lineEcho : {false, true}) { // an option for a serial port
        AdapterLink link(variable, value);
        link.modbus.setLineEcho(lineEcho);
        QTEST(link.writeChunk(), "result");
        QCOMPARE(link.events.take(), QStringList{text});
    }
}

void Sub20TransportTest::silentPanelIsATimeout()
{
    AdapterLink link("RS", "silent");
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 138);
    QVERIFY(timer.elapsed() >= 1000);
    QCOMPARE(link.events.take(), QStringList{QStringLiteral("error: Modbus Timeout")});
}

void Sub20TransportTest::replySize_data()
{
    QTest::addColumn<QByteArray>("misbehaviour");
    QTest::addColumn<int>("result");

    QTest::newRow("longest") << QByteArray("oversize=62") << 0;
    QTest::newRow("longer ones are cut") << QByteArray("oversize=63") << 104;
    QTest::newRow("much longer ones as well") << QByteArray("oversize=4000") << 104;
}

void Sub20TransportTest::replySize()
{
    QFETCH(QByteArray, misbehaviour);
    AdapterLink link("RS", misbehaviour);
    QTEST(link.writeChunk(), "result");
    QCOMPARE(link.calls().constLast(), QStringLiteral("sub_rs_xfer h 44 62 = 62"));
}

void Sub20TransportTest::countBeyondTheReceiveSizeIsNotBelieved()
{
    AdapterLink link("FAIL", "sub_rs_xfer:1:5000");
    link.modbus.setTraceFlag(1);
    QCOMPARE(link.writeChunk(), 104);
    const QStringList events = link.events.take();
    QCOMPARE(events.size(), 3);
    QCOMPARE(events.at(1).count(QStringLiteral("00")), 62);
}

void Sub20TransportTest::refusedTimingDoesNotEndTheTransaction()
{
    AdapterLink link("FAIL", "sub_rs_timing:1:-3");
    QCOMPARE(link.writeChunk(), 0);
    QCOMPARE(link.events.take(), QStringList());
}

void Sub20TransportTest::broadcastWaitsShortlyAndPauses()
{
    AdapterLink link;
    link.modbus.setBroadcastDelay(200);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(0), 0);
    QVERIFY(timer.elapsed() >= 200);
    QCOMPARE(link.calls(), (QStringList{QStringLiteral("sub_rs_timing h 2 0 10000 10000 = 0"),
                                        QStringLiteral("sub_rs_xfer h 44 62 = 0")}));
    QCOMPARE(link.adapter.modbusImage(), countingBytes(0, 32));
    QCOMPARE(link.events.take(), QStringList());
}

void Sub20TransportTest::replyToABroadcastIsDumpedOnly()
{
    AdapterLink link("FAIL", "sub_rs_xfer:1:5"); // five bytes that are no good reply
    link.modbus.setTraceFlag(1);
    QCOMPARE(link.writeChunk(0), 0);
    const QStringList events = link.events.take();
    QCOMPARE(events.size(), 2);
    QVERIFY(events.constFirst().startsWith(QStringLiteral("info: --> 00|15|27 ")));
    QCOMPARE(events.constLast(), QStringLiteral("info: <-- 00|00|00 00_00 "));
}

void Sub20TransportTest::closedHandleIsAnError()
{
    AdapterLink link;
    link.adapter.binding().close(link.handle);
    const QStringList before = link.adapter.calls(QStringLiteral("sub_rs_xfer"));
    QCOMPARE(link.writeChunk(), 1);
    QCOMPARE(link.adapter.calls(QStringLiteral("sub_rs_xfer")), before);
    QCOMPARE(link.adapter.calls(QStringLiteral("misuse")), QStringList());
    QCOMPARE(link.events.take(), QStringList{QStringLiteral("error: sub_rs_xfer: ")});
}

QTEST_GUILESS_MAIN(Sub20TransportTest)
#include "tst_sub20transport.moc"
