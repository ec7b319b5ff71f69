// SPDX-License-Identifier: MIT
#include "tests/modbus/panelthread.h"
#include "tests/support/testcase.h"

#include <QThread>

#include <atomic>
#include <memory>
#include <vector>

namespace {

constexpr int Chunks = 1000;
constexpr int ChunkSize = 32;
/// What the user guide recommends.
constexpr int ReplyGapMs = 50;
constexpr int LongestMs = 280000;
/// How often a machine may stand still.
constexpr int MostRepeats = Chunks;

struct LineKind
{
    const char *name;
    simulator::Misbehaviour pacing;
};

std::vector<LineKind> lineKinds()
{
    simulator::Misbehaviour paced;
    paced.paced = true;
    std::vector<LineKind> kinds{{"byte by byte", paced}};
    const auto addBursts = [&kinds](const char *name, std::size_t bytes) {
        simulator::Misbehaviour bursts;
        bursts.burstBytes = bytes;
        kinds.push_back({name, bursts});
    };
    addBursts("bursts of 8 bytes", 8);
    addBursts("bursts of 14 bytes", 14);
    addBursts("bursts of 16 bytes", 16);
    simulator::Misbehaviour latency;
    latency.latencyMs = 16;
    kinds.push_back({"a latency timer of 16 ms", latency});
    return kinds;
}

/// An upload on a thread of its own, as a loader makes it, to a panel on a line of the given kind. A record
/// whose reply was held up by the machine is sent again; any other failure ends the upload.
class Line
{
public:
    Line(const LineKind &line, const QByteArray &bytes)
        : name(QString::fromLatin1(line.name)),
          image(bytes),
          model(simulator::DefaultPanelAddress, line.pacing),
          panel([this](simulator::ByteView request) { return model.answer(request); })
    {
    }
    ~Line()
    {
        stop = true;
        if (thread)
            thread->wait();
    }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    void start()
    {
        thread.reset(QThread::create([this] { upload(); }));
        thread->start();
    }
    bool isDone() const { return thread->isFinished(); }
    void verify() const
    {
        QVERIFY2(failure.isEmpty(), qPrintable(name + QStringLiteral(": ") + failure));
        QCOMPARE(sent, Chunks);
        QVERIFY2(byteArray(model.model().image()) == image, qPrintable(name));
    }
    /// How often the machine held a reply up for longer than the gap.
    int stalls() const { return repeats; }

private:
    void upload()
    {
        QSerialPort port;
        Modbus modbus;
        QObject::connect(&port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
        port.setPortName(panel.path());
        modbus.setSerialPort(&port);
        modbus.setReplyGap(ReplyGapMs);
        modbus.setReplyChecked(true);
        if (!port.open(QIODevice::ReadWrite))
            failure = port.errorString();
        while (sent < Chunks && failure.isEmpty() && !stop) {
            const auto begin = PanelThread::Clock::now();
            const qint32 result = send(modbus);
            const auto end = PanelThread::Clock::now();
            const PanelThread::Exchange exchange = panel.waitForExchange(++requests);
            if (result == MB_OK)
                ++sent;
            else if (stoodStill(exchange, ReplyGapMs) && ++repeats <= MostRepeats)
                dropTheRest(port);
            else
                failure = describe(result, begin, end, exchange);
        }
    }
    qint32 send(Modbus &modbus) const
    {
        const auto bytes = byteView(image).subspan(static_cast<std::size_t>(sent) * ChunkSize);
        return modbus.writeFileRecord(nullptr, simulator::DefaultPanelAddress, 0, static_cast<quint16>(sent),
                                      ChunkSize, bytes.data());
    }
    /// What came of the reply after it was taken for ended.
    static void dropTheRest(QSerialPort &port)
    {
        port.waitForReadyRead(0);
        port.readAll();
    }
    QString describe(qint32 result, PanelThread::Clock::time_point begin, PanelThread::Clock::time_point end,
                     const PanelThread::Exchange &exchange) const
    {
        const auto ms = [](PanelThread::Clock::duration time) {
            return QString::number(std::chrono::duration<double, std::milli>(time).count(), 'f', 2);
        };
        return QStringLiteral("result %1 at chunk %2, stood still %3 times; the link: 0 to %4 ms; the panel: "
                              "request at %5, reply from %6 to %7, %8 pieces, longest pause %9 ms")
            .arg(result)
            .arg(sent)
            .arg(repeats)
            .arg(ms(end - begin), ms(exchange.requestSeen - begin), ms(exchange.replyBegins - begin),
                 ms(exchange.replyEnds - begin), QString::number(exchange.pieces), ms(exchange.longestPause));
    }

    QString name;
    QByteArray image;
    simulator::MisbehavingPanel model;
    PanelThread panel;
    std::unique_ptr<QThread> thread;
    std::atomic<bool> stop = false;
    QString failure;
    int sent = 0;
    int requests = 0;
    int repeats = 0;
};

} // namespace

/// Long uploads over lines that hand replies over piece by piece, with the reply gap that the user guide
/// recommends.
class PacedLinesTest : public TestCase
{
    Q_OBJECT

private slots:
    void aThousandChunksOnEveryLine();
};

void PacedLinesTest::aThousandChunksOnEveryLine()
{
    const QByteArray image = unevenBytes(Chunks * ChunkSize);
    std::vector<std::unique_ptr<Line>> lines;
    for (const LineKind &kind : lineKinds())
        lines.push_back(std::make_unique<Line>(kind, image));
    for (const auto &line : lines)
        line->start();
    for (const auto &line : lines)
        QTRY_VERIFY_WITH_TIMEOUT(line->isDone(), LongestMs);
    int stalls = 0;
    for (const auto &line : lines) {
        line->verify();
        stalls += line->stalls();
    }
    qInfo("the machine stood still %d times", stalls);
}

QTEST_GUILESS_MAIN(PacedLinesTest)
#include "tst_pacedlines.moc"
