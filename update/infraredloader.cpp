// SPDX-License-Identifier: MIT
#include "update/infraredloader.h"

#include "update/emitter.h"
#include "update/imagefile.h"

#include <QDebug>

#include <array>
#include <utility>

namespace {

constexpr int CarrierHz = 38000;
/// The library's further infrared settings, meant to be just these.
constexpr std::array<int, 3> IrSettings{10, 1, 10};
/// The panel takes the first good copy of a frame.
constexpr int CopiesPerFrame = 3;
constexpr int BlocksPerProgress = 3;

} // namespace

InfraredLoader::InfraredLoader(LoaderContext lent, int &protocolVariant)
    : FirmwareLoader(std::move(lent)), variant(protocolVariant)
{
}

int InfraredLoader::run()
{
    qDebug("boot run");
    context.showBusy();
    context.sub20Handle = context.adapter.open(nullptr);
    if (!context.sub20Handle) {
        context.reportError(QStringLiteral("SUB-20 not connected!"));
        return LoaderFailed;
    }
    variant = infrared::CrcVariant;

    ImageFile image(context.job.imageFileName);
    if (!image.open()) {
        emit context.emitter.errorSignal(image.openErrorText());
        return LoaderFailed;
    }
    const auto [error, errorText] =
        context.adapter.irConfig(context.sub20Handle, CarrierHz, IrSettings[0], IrSettings[1], IrSettings[2]);
    if (error != 0) {
        emit context.emitter.errorSignal(QStringLiteral("SUB-20 sub_ir_config: %1").arg(errorText));
        return error;
    }
    return sendFrames(image);
}

int InfraredLoader::sendFrames(ImageFile &image)
{
    const int blocks = static_cast<qint32>(image.size()) / static_cast<int>(infrared::BlockSize);
    emit context.emitter.load_start(0, blocks);

    infrared::Block block{}; // a short last read leaves the end of the block before it
    infrared::Frame frame{};
    std::uint8_t number = 0;
    int sent = 0;
    qint64 count = 0;
    while ((count = image.read(block)) > 0) {
        if (context.stopRequested)
            return LoaderFailed;
        infrared::buildFrame(frame, variant, number, block);
        noteSending();
        if (const int error = transmit(frame); error != 0)
            return error;
        noteDone(true); // a short block goes out in a frame of full length
        ++sent;
        if (sent % BlocksPerProgress == 0)
            emit context.emitter.load_progress(sent);
        number = infrared::nextNumber(number);
    }

    emit context.emitter.load_progress(blocks);
    if (count < 0) {
        emit context.emitter.errorSignal(
            QStringLiteral("IRBOOT. Image read failed: %1").arg(image.errorText()));
        return LoaderFailed;
    }
    emit context.emitter.load_finish();
    return LoaderDone;
}

int InfraredLoader::transmit(infrared::Frame &frame)
{
    for (int copy = 0; copy < CopiesPerFrame; ++copy) {
        const auto [error, errorText] = context.adapter.irTx(context.sub20Handle, frame);
        if (error != 0) {
            emit context.emitter.errorSignal(QStringLiteral("SUB-20 sub_ir_tx: %1").arg(errorText));
            return error;
        }
    }
    return LoaderDone;
}
