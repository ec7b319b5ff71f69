// SPDX-License-Identifier: MIT
// What a chunk costs above what the line takes, on lines that hand replies over piece by piece, with the
// reply gap set; and what the gap costs on a line that hands them over at once.
//
// Times are those of the transaction: the request needs no time on a pseudo-terminal, the reply is planned by
// the simulated panel. `lineMs` is when the line hands over the reply's last byte.
#include "benchmarks/figure.h"
#include "modbus/modbus.h"
#include "simulator/misbehaviour.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSerialPort>
#include <QTemporaryDir>

#include <cstdlib>

namespace {

constexpr int Rounds = 6;
constexpr int ChunksPerRound = 30;
/// What is done for the first time takes longer.
constexpr int WarmUpChunks = 3;
constexpr int ChunkSize = 32;
constexpr std::size_t ReplySize = 44;
constexpr quint8 Address = 80;
/// Its length is in no figure; on a busy machine the panel's process may be held up for longer than 50 ms.
constexpr int GapMs = 1000;
constexpr double PauseBeforeRequestMs = 50;
constexpr double MostMs = 2;
constexpr double MostRatio = 1.05;
constexpr double NsPerMs = 1e6;
constexpr double UsPerMs = 1e3;

struct Line
{
    QString option; ///< of the simulated panel
    simulator::Misbehaviour pacing;
};

/// When the line hands over the last byte of a reply, counted from the reply's beginning.
double lineMs(const Line &line)
{
    const simulator::Bytes reply(ReplySize, 0);
    double us = 0;
    for (const simulator::Burst &burst : simulator::planReply(reply, {}, line.pacing, 0).bursts)
        us += static_cast<double>(burst.delayBeforeUs);
    return us / UsPerMs;
}

/// Adds the times of one round's chunks above the pause and the line, in ms.
void measure(std::vector<double> &times, const Line &line, int gapMs)
{
    const QTemporaryDir folder;
    QProcess panel;
    panel.start(QStringLiteral(ZEPHYRIN_PANEL),
                QStringList{QStringLiteral("--exit-with-parent"), QStringLiteral("--output"),
                            folder.filePath(QStringLiteral("image"))} +
                    line.option.split(u' ', Qt::SkipEmptyParts));
    while (!panel.canReadLine() && panel.waitForReadyRead())
        ; // the path may come in pieces
    QSerialPort port;
    Modbus modbus;
    QObject::connect(&port, &QSerialPort::readyRead, &modbus, &Modbus::getData);
    port.setPortName(QString::fromLocal8Bit(panel.readLine()).trimmed());
    modbus.setSerialPort(&port);
    modbus.setReplyGap(gapMs);
    if (!port.open(QIODevice::ReadWrite))
        giveUp(port.errorString());
    const QByteArray data = sampleImage(ChunkSize);
    const double floorMs = PauseBeforeRequestMs + lineMs(line);
    for (int chunk = 0; chunk < ChunksPerRound; ++chunk) {
        QElapsedTimer timer;
        timer.start();
        if (modbus.writeFileRecord(nullptr, Address, 0, static_cast<quint16>(chunk), ChunkSize,
                                   reinterpret_cast<const std::uint8_t *>(data.constData())) != MB_OK)
            giveUp(QStringLiteral("the panel's reply is lost: ") + line.option);
        if (chunk >= WarmUpChunks)
            times.push_back(static_cast<double>(timer.nsecsElapsed()) / NsPerMs - floorMs);
    }
    port.close();
    panel.terminate();
    panel.waitForFinished();
}

std::vector<Line> pacedLines()
{
    std::vector<Line> lines{{QStringLiteral("--paced"), {}}};
    lines.back().pacing.paced = true;
    for (const int burst : {8, 14, 16}) {
        lines.push_back({QStringLiteral("--bursts %1").arg(burst), {}});
        lines.back().pacing.burstBytes = static_cast<std::size_t>(burst);
    }
    lines.push_back({QStringLiteral("--latency-ms 16"), {}});
    lines.back().pacing.latencyMs = 16;
    return lines;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    for (const Line &line : pacedLines()) {
        std::vector<double> times;
        for (int round = 0; round < Rounds; ++round)
            measure(times, line, GapMs);
        const double time = median(times);
        print({QStringLiteral("paced: chunk above the line, ") + line.option,
               QString::asprintf("%.2f ms", time),
               QString::asprintf("%.1f ms line", lineMs(line)),
               {},
               QString::asprintf("<= %.0f ms", MostMs),
               time <= MostMs});
    }
    std::vector<double> with;
    std::vector<double> without;
    for (int round = 0; round < Rounds; ++round) {
        measure(with, {}, GapMs);
        measure(without, {}, 0);
    }
    printRatio(QStringLiteral("paced: reply at once, gap set, without the key"), median(with) * UsPerMs,
               median(without) * UsPerMs, "us", 0, MostRatio);
    return EXIT_SUCCESS;
}
