// SPDX-License-Identifier: MIT
#include "tests/modbus/panelthread.h"
#include "tests/modbus/seriallink.h"
#include "tests/support/testcase.h"

#include <algorithm>

namespace {

constexpr int Requests = 50;

simulator::Schedule echoOf(simulator::ByteView request)
{
    return {{{0, simulator::Bytes(request.begin(), request.end())}}};
}

} // namespace

/// The silence before a request, as the panel's end of the line has it. It begins when the panel hands its
/// reply over and ends when the panel has seen the request: on a slow machine it only seems longer.
class RequestPauseTest : public TestCase
{
    Q_OBJECT

private slots:
    void isNeverShorter_data();
    void isNeverShorter();
    void aNegativePauseIsNone();
};

void RequestPauseTest::isNeverShorter_data()
{
    QTest::addColumn<int>("ms");
    for (const int ms : {4, 5, 10, 49, 50})
        QTest::addRow("%d ms", ms) << ms;
    QTest::newRow("not set") << -1;
}

void RequestPauseTest::isNeverShorter()
{
    QFETCH(const int, ms);
    PanelThread panel(echoOf);
    SerialLink link(panel.path());
    if (ms >= 0)
        link.modbus.setRequestPause(ms);
    const std::chrono::milliseconds pause(ms >= 0 ? ms : 50);
    auto shortest = PanelThread::Clock::duration::max();
    for (int count = 1; count <= Requests; ++count) {
        const PanelThread::Clock::time_point before = panel.exchange().lastPiece;
        QCOMPARE(link.writeChunk(), 0);
        const PanelThread::Exchange exchange = panel.waitForExchange(count);
        if (count > 1)
            shortest = std::min(shortest, exchange.requestSeen - before);
    }
    const std::chrono::duration<double, std::milli> measured = shortest;
    QVERIFY2(shortest >= pause, qPrintable(QString::number(measured.count())));
    qInfo("the shortest pause: %.3f ms", measured.count());
}

// And not an endless one.
void RequestPauseTest::aNegativePauseIsNone()
{
    PanelThread panel(echoOf);
    SerialLink link(panel.path());
    link.modbus.setRequestPause(-1);
    QCOMPARE(link.writeChunk(), 0);
}

QTEST_GUILESS_MAIN(RequestPauseTest)
#include "tst_requestpause.moc"
