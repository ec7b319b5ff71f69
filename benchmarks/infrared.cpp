// SPDX-License-Identifier: MIT
// What a block costs in the infrared loader when sending it costs nothing, with all that the window does
// about it, next to a bare loop's cost.
#include "benchmarks/bareinfrared.h"
#include "benchmarks/figure.h"
#include "benchmarks/uploadwindow.h"
#include "update/infraredframe.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryFile>

namespace {

constexpr int Rounds = 11;
constexpr int Blocks = 100000;
constexpr double MostTime = 2;
constexpr double NanosecondsPerSecond = 1e9;

double loaderNanosecondsPerBlock(UploadWindow &window)
{
    QElapsedTimer timer;
    timer.start();
    window.pressButton();
    window.waitUntilIdle();
    const auto time = static_cast<double>(timer.nsecsElapsed());
    if (!window.isBarFull())
        giveUp(QStringLiteral("the infrared upload failed"));
    return time / Blocks;
}

double bareNanosecondsPerBlock(const QByteArray &fileName)
{
    QElapsedTimer timer;
    timer.start();
    const long sent = bareInfraredUpload(fileName.constData());
    const auto time = static_cast<double>(timer.nsecsElapsed());
    if (sent != Blocks)
        giveUp(QStringLiteral("the bare infrared upload failed"));
    return time / Blocks;
}

} // namespace

int main(int argc, char *argv[])
{
    useOffscreenPlatform();
    const QApplication application(argc, argv);
    const QByteArray image = sampleImage(qsizetype{Blocks} * qsizetype{infrared::BlockSize});
    QTemporaryFile file;
    if (!file.open() || file.write(image) != image.size() || !file.flush())
        giveUp(QStringLiteral("cannot write an image file"));
    UploadWindow window;
    window.useInfrared();
    window.setImage(file.fileName());
    std::vector<double> loader;
    std::vector<double> bare;
    for (int round = 0; round < Rounds; ++round) {
        loader.push_back(loaderNanosecondsPerBlock(window));
        bare.push_back(bareNanosecondsPerBlock(file.fileName().toLocal8Bit()));
    }
    print({QStringLiteral("infrared: blocks per second"),
           QString::number(qRound(NanosecondsPerSecond / median(loader))),
           QString::number(qRound(NanosecondsPerSecond / median(bare))),
           {},
           {},
           {}});
    printRatio(QStringLiteral("infrared: time of a block"), median(loader), median(bare), "ns", 0, MostTime);
    return EXIT_SUCCESS;
}
