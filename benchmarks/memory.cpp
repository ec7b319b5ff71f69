// SPDX-License-Identifier: MIT
// The memory that an upload takes, for a small and for a large image.
//
// It is the resident set (RSS): unlike the proportional one it does not depend on what else the machine runs.
#include "benchmarks/figure.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryFile>

#include <algorithm>

namespace {

constexpr int Rounds = 5;
constexpr qsizetype SmallImage = qsizetype{1} << 10;
constexpr qsizetype LargeImage = qsizetype{64} << 20;
constexpr double MostGrowthKib = 256;

/// All of the small image, and as much of the large one as a few seconds allow over a serial port.
constexpr int SerialChunks = 99;

constexpr int LookAgainMs = 10;

class SampleFile : public QTemporaryFile
{
public:
    explicit SampleFile(qsizetype size)
    {
        if (!open() || write(sampleImage(size)) != size || !flush())
            giveUp(QStringLiteral("cannot write an image file"));
    }
};

double rssInKib(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/smaps_rollup").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        giveUp(QStringLiteral("the uploader has ended"));
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("Rss:"))
            return line.simplified().split(' ').value(1).toDouble();
    }
    giveUp(QStringLiteral("the system does not tell a process's memory"));
}

/// The most memory that was seen while an upload ran and right after it, in KiB.
double peakOfUpload(const QStringList &arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(COSTLESS_SUB20_FOLDER));
    QProcess uploader;
    uploader.setProcessEnvironment(environment);
    uploader.setStandardErrorFile(QProcess::nullDevice());
    uploader.start(QStringLiteral(BENCHMARK_UPLOADER), arguments);
    if (!uploader.waitForStarted())
        giveUp(QStringLiteral("cannot start the uploader"));
    double peak = 0;
    while (!uploader.canReadLine()) {
        peak = std::max(peak, rssInKib(uploader.processId()));
        if (!uploader.waitForReadyRead(LookAgainMs) && uploader.state() == QProcess::NotRunning)
            giveUp(QStringLiteral("the uploader failed"));
    }
    peak = std::max(peak, rssInKib(uploader.processId()));
    uploader.closeWriteChannel();
    uploader.waitForFinished();
    return peak;
}

double peakOfInfraredUpload(const QFile &image)
{
    return peakOfUpload({QStringLiteral("infrared"), image.fileName()});
}

double peakOfSerialUpload(const QFile &image)
{
    QProcess panel;
    panel.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    panel.start(QStringLiteral(ZEPHYRIN_PANEL), QStringList());
    while (!panel.canReadLine() && panel.waitForReadyRead()) {
    }
    const QString device = QString::fromLocal8Bit(panel.readLine().trimmed());
    const double peak =
        peakOfUpload({QStringLiteral("serial"), device, image.fileName(), QString::number(SerialChunks)});
    panel.terminate();
    panel.waitForFinished();
    return peak;
}

void measure(const QString &link, double (*peak)(const QFile &), const QFile &smallImage,
             const QFile &largeImage)
{
    std::vector<double> small;
    std::vector<double> large;
    for (int round = 0; round < Rounds; ++round) {
        small.push_back(peak(smallImage));
        large.push_back(peak(largeImage));
    }
    const double growth = median(large) - median(small);
    print({QStringLiteral("memory: %1, 64 MiB beside 1 KiB (RSS)").arg(link),
           QString::asprintf("%.0f KiB", median(large)),
           QString::asprintf("%.0f KiB", median(small)),
           {},
           {},
           {}});
    print({QStringLiteral("memory: %1, growth with the image").arg(link),
           QString::asprintf("%.0f KiB", growth),
           {},
           {},
           QString::asprintf("<= %.0f KiB", MostGrowthKib),
           growth <= MostGrowthKib});
}

} // namespace

int main()
{
    const SampleFile smallImage(SmallImage);
    const SampleFile largeImage(LargeImage);
    measure(QStringLiteral("infrared"), peakOfInfraredUpload, smallImage, largeImage);
    measure(QStringLiteral("serial"), peakOfSerialUpload, smallImage, largeImage);
    return EXIT_SUCCESS;
}
