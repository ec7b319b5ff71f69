// SPDX-License-Identifier: MIT
// What a block costs in the infrared loader when sending it costs nothing, next to a bare loop's cost: the
// loader alone, and with all that the window does about it.
#include "benchmarks/bareinfrared.h"
#include "benchmarks/costlesssub20.h"
#include "benchmarks/figure.h"
#include "benchmarks/uploadwindow.h"
#include "sub20/sub20.h"
#include "update/emitter.h"
#include "update/infraredframe.h"
#include "update/infraredloader.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryFile>

#include <atomic>

namespace {

constexpr int Rounds = 11;
constexpr int Blocks = 100000;
constexpr double MostTime = 1.5;
constexpr double NanosecondsPerSecond = 1e9;

/// The loader on this thread, with all that it is lent and no window. Its progress is listened to.
class LoaderAlone
{
public:
    explicit LoaderAlone(const QString &imageFileName)
    {
        job.imageFileName = imageFileName;
        QObject::connect(&emitter, &Emitter::load_progress, &receiver,
                         [this](int value) { progress = value; });
    }

    double nanosecondsPerBlock()
    {
        progress = 0;
        QElapsedTimer timer;
        timer.start();
        const int result = InfraredLoader({job, emitter, stopRequested, adapter, handle, receiver,
                                           [](const QString &text) { giveUp(text); }, [] {}},
                                          variant)
                               .run();
        adapter.close(handle);
        const auto time = static_cast<double>(timer.nsecsElapsed());
        if (result != LoaderDone || progress != Blocks)
            giveUp(QStringLiteral("the infrared loader failed"));
        return time / Blocks;
    }

private:
    UpdateJob job;
    Emitter emitter;
    QObject receiver;
    int progress = 0;
    std::atomic<bool> stopRequested = false;
    int variant = infrared::CrcVariant;
    sub_handle handle = nullptr;
    Sub20 adapter{{sub_find_devices, sub_open, sub_close, sub_strerror, sub_ir_config, sub_ir_tx,
                   sub_rs_timing, sub_rs_xfer, &sub_errno}};
};

double windowNanosecondsPerBlock(UploadWindow &window)
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

void printBlocksPerSecond(const QString &who, double nanoseconds, double bareNanoseconds)
{
    print({QStringLiteral("infrared: blocks per second, ") + who,
           QString::number(qRound(NanosecondsPerSecond / nanoseconds)),
           QString::number(qRound(NanosecondsPerSecond / bareNanoseconds)),
           {},
           {},
           {}});
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
    LoaderAlone loaderAlone(file.fileName());
    UploadWindow window;
    window.useInfrared();
    window.setImage(file.fileName());
    std::vector<double> alone;
    std::vector<double> shown;
    std::vector<double> bare;
    for (int round = 0; round < Rounds; ++round) {
        alone.push_back(loaderAlone.nanosecondsPerBlock());
        bare.push_back(bareNanosecondsPerBlock(file.fileName().toLocal8Bit()));
        shown.push_back(windowNanosecondsPerBlock(window));
    }
    printBlocksPerSecond(QStringLiteral("loader alone"), median(alone), median(bare));
    printBlocksPerSecond(QStringLiteral("with the window"), median(shown), median(bare));
    printRatio(QStringLiteral("infrared: time of a block, loader alone"), median(alone), median(bare), "ns",
               0, MostTime);
    printRatio(QStringLiteral("infrared: time of a block, with the window"), median(shown), median(bare),
               "ns", 0, {});
    return EXIT_SUCCESS;
}
