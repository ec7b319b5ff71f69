// SPDX-License-Identifier: MIT
// What the log file costs: one line, the line with which the file is full, and the processor's time during an
// upload over a serial port at its fastest, beside the same upload without a log.
#include "benchmarks/figure.h"
#include "benchmarks/uploadwindow.h"
#include "log/logfile.h"
#include "log/logmessages.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <time.h>

#include <cstdlib>

namespace {

constexpr int Lines = 20000;
constexpr int Rounds = 5;
constexpr int Records = 100;
constexpr int RecordSize = 32;
constexpr double MostShare = 0.01;
constexpr double PerCent = 100;
constexpr double NsPerUs = 1e3;
constexpr double NsPerMs = 1e6;
constexpr double NsPerS = 1e9;

double processorNs()
{
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * NsPerS + static_cast<double>(now.tv_nsec);
}

void printLine(const QTemporaryDir &folder)
{
    LogFile file(folder.filePath(QStringLiteral("lines.log")), LogFile::LargestSize,
                 {{folder.filePath(QStringLiteral("settings.ini")), QString()},
                  {folder.filePath(QStringLiteral("panel.INC")), QString()}});
    const QByteArray line = "2026-11-22T10:28:31.123+01:00 loader debug    44 bytes written...\n";
    std::vector<double> times;
    QElapsedTimer timer;
    for (int i = 0; i < Lines; ++i) {
        timer.start();
        if (const QString problem = file.write(line); !problem.isEmpty())
            giveUp(problem);
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / NsPerUs);
    }
    print(
        {QStringLiteral("log: a line, median"), QString::asprintf("%.1f us", median(times)), {}, {}, {}, {}});
}

void printFullFile(const QTemporaryDir &folder)
{
    std::vector<double> times;
    for (int round = 0; round < Rounds; ++round) {
        QFile full(folder.filePath(QStringLiteral("full.log")));
        if (!full.open(QIODevice::WriteOnly) || full.write(sampleImage(LogFile::LargestSize)) < 0)
            giveUp(full.errorString());
        full.close();
        LogFile file(full.fileName());
        QElapsedTimer timer;
        timer.start();
        if (const QString problem = file.write("the next one\n"); !problem.isEmpty())
            giveUp(problem);
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / NsPerMs);
    }
    print({QStringLiteral("log: the line that begins a new file, median"),
           QString::asprintf("%.2f ms", median(times)),
           {},
           {},
           {},
           {}});
}

/// The share of one processor that an upload takes.
double uploadShare(const QTemporaryDir &folder)
{
    QProcess panel;
    panel.start(QStringLiteral(ZEPHYRIN_PANEL),
                {QStringLiteral("--exit-with-parent"), QStringLiteral("--output"),
                 folder.filePath(QStringLiteral("received"))});
    while (!panel.canReadLine() && panel.waitForReadyRead())
        ; // the path may come in pieces
    UploadWindow window;
    window.useSerialPort(QString::fromLocal8Bit(panel.readLine()).trimmed());
    window.setImage(folder.filePath(QStringLiteral("image")));
    QElapsedTimer timer;
    timer.start();
    const double before = processorNs();
    window.pressButton();
    window.waitUntilIdle();
    const double share = (processorNs() - before) / static_cast<double>(timer.nsecsElapsed());
    if (!window.isBarFull())
        giveUp(QStringLiteral("the upload has failed"));
    panel.terminate();
    panel.waitForFinished();
    return share;
}

double medianShare(const QTemporaryDir &folder)
{
    std::vector<double> shares;
    for (int round = 0; round < Rounds; ++round)
        shares.push_back(uploadShare(folder));
    return median(shares);
}

void dropMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

QString perCent(double share)
{
    return QString::asprintf("%.2f %%", share * PerCent);
}

} // namespace

int main(int argc, char *argv[])
{
    useOffscreenPlatform();
    const QApplication application(argc, argv);
    qInstallMessageHandler(dropMessage);
    const QTemporaryDir folder;
    printLine(folder);
    printFullFile(folder);

    QFile image(folder.filePath(QStringLiteral("image")));
    if (!image.open(QIODevice::WriteOnly) || image.write(sampleImage(Records * RecordSize)) < 0)
        giveUp(image.errorString());
    image.close();
    const double without = medianShare(folder);
    startLogFile(folder.filePath(QStringLiteral("site.log"))); // there is no way back
    const double with = medianShare(folder);
    print({QStringLiteral("log: processor during an upload, more with a log"),
           perCent(with - without),
           perCent(without),
           {},
           QString::asprintf("< %.0f %%", MostShare * PerCent),
           with - without < MostShare});
    return EXIT_SUCCESS;
}
