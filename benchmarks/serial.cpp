// SPDX-License-Identifier: MIT
// What a chunk costs over a serial port beside what the protocol itself takes, next to a bare client's cost.
//
// This program is the panel at the other end of a pseudo-terminal. It sees both clients in the same way: the
// time from its reply to the next request, less the pauses that every client makes, is the client's own.
#include "benchmarks/figure.h"
#include "simulator/panelmodel.h"
#include "simulator/pseudoterminal.h"

#include <QProcess>
#include <QTemporaryFile>

#include <poll.h>
#include <time.h>

#include <array>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;
using namespace std::chrono_literals;

constexpr int Rounds = 12;
/// Of a usual image, so that the progress bar moves as it does in use, the first chunks are enough.
constexpr qsizetype ImageSize = 128 * 1024;
constexpr std::size_t ChunksPerRound = 44;
/// What a client does for the first time takes longer and says nothing about an upload of thousands of
/// chunks.
constexpr std::size_t WarmUpChunks = 4;
/// Before a request, and after the first byte of a reply.
constexpr auto Pauses = 50ms + 2ms;
constexpr int LongestWaitMs = 20000;
constexpr double Worst = 0.95;

constexpr double MostTime = 1.5;
constexpr double MostProcessorTime = 2;

/// One request as the panel sees it.
struct Exchange
{
    Clock::time_point arrived;
    Clock::time_point answered;
    /// What the client's process had used up when its request arrived.
    std::chrono::nanoseconds processorTime;
};

/// What the chunks of all rounds took, in µs.
struct Cost
{
    std::vector<double> timeAbovePauses;
    std::vector<double> processorTime;
};

std::chrono::nanoseconds processorTime(clockid_t clock)
{
    timespec time{};
    if (clock_gettime(clock, &time) != 0)
        giveUp(QStringLiteral("the client has ended"));
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void receiveRequest(simulator::PseudoTerminal &line, simulator::Bytes &request)
{
    std::array<std::uint8_t, 256> buffer{};
    pollfd readable{line.descriptor(), POLLIN, 0};
    request.clear();
    while (simulator::requestLength(request) != request.size()) {
        if (poll(&readable, 1, LongestWaitMs) <= 0)
            giveUp(QStringLiteral("no request from the client"));
        const auto bytes = line.read(buffer);
        request.insert(request.end(), bytes.begin(), bytes.end());
    }
}

std::vector<Exchange> servePanel(simulator::PseudoTerminal &line, clockid_t client, const QByteArray &image)
{
    simulator::PanelModel panel;
    simulator::Bytes request;
    std::vector<Exchange> exchanges(ChunksPerRound);
    for (Exchange &exchange : exchanges) {
        receiveRequest(line, request);
        exchange.arrived = Clock::now();
        const simulator::Bytes reply = panel.answer(request);
        exchange.processorTime = processorTime(client);
        exchange.answered = Clock::now();
        line.write(reply);
    }
    const QByteArray received(reinterpret_cast<const char *>(panel.image().data()),
                              static_cast<qsizetype>(panel.image().size()));
    if (received != image.first(ChunksPerRound * simulator::RecordBytes))
        giveUp(QStringLiteral("the panel did not receive the image"));
    return exchanges;
}

void addCost(Cost &cost, const std::vector<Exchange> &exchanges)
{
    for (std::size_t i = WarmUpChunks; i + 1 < exchanges.size(); ++i) {
        const Microseconds time = exchanges[i + 1].arrived - exchanges[i].answered - Pauses;
        cost.timeAbovePauses.push_back(time.count());
    }
    const Microseconds used = exchanges.back().processorTime - exchanges[WarmUpChunks].processorTime;
    cost.processorTime.push_back(used.count() / static_cast<double>(exchanges.size() - 1 - WarmUpChunks));
}

void upload(Cost &cost, const QString &program, const QStringList &firstArguments, const QString &imageFile,
            const QByteArray &image)
{
    simulator::PseudoTerminal line;
    QProcess client;
    client.setStandardErrorFile(QProcess::nullDevice());
    client.start(program, firstArguments + QStringList{QString::fromStdString(line.clientPath()), imageFile});
    clockid_t clock{};
    if (!client.waitForStarted() || clock_getcpuclockid(static_cast<pid_t>(client.processId()), &clock) != 0)
        giveUp(QStringLiteral("cannot start %1").arg(program));
    addCost(cost, servePanel(line, clock, image));
    line.hangUp(); // ends both clients' uploads
    client.closeWriteChannel();
    if (!client.waitForFinished() || client.exitStatus() != QProcess::NormalExit)
        giveUp(QStringLiteral("%1 does not end").arg(program));
}

void printLeast(const QString &name, const std::vector<double> &times)
{
    const double least = quantile(times, 0);
    print({name, QString::asprintf("%.0f us", least), {}, {}, QStringLiteral(">= 0 us"), least >= 0});
}

} // namespace

int main()
{
    const QByteArray image = sampleImage(ImageSize);
    QTemporaryFile file;
    if (!file.open() || file.write(image) != image.size() || !file.flush())
        giveUp(QStringLiteral("cannot write an image file"));
    Cost loader;
    Cost bare;
    for (int round = 0; round < Rounds; ++round) {
        upload(loader, QStringLiteral(BENCHMARK_UPLOADER), {QStringLiteral("serial")}, file.fileName(),
               image);
        upload(bare, QStringLiteral(BENCHMARK_BARECLIENT), {}, file.fileName(), image);
    }
    printRatio(QStringLiteral("serial: time of a chunk above the floor, median"),
               median(loader.timeAbovePauses), median(bare.timeAbovePauses), "us", 0, MostTime);
    printRatio(QStringLiteral("serial: the same, 95th percentile"), quantile(loader.timeAbovePauses, Worst),
               quantile(bare.timeAbovePauses, Worst), "us", 0, MostTime);
    printLeast(QStringLiteral("serial: the same, least"), loader.timeAbovePauses);
    printRatio(QStringLiteral("serial: processor time of a chunk"), median(loader.processorTime),
               median(bare.processorTime), "us", 0, MostProcessorTime);
    return EXIT_SUCCESS;
}
