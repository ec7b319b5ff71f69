// SPDX-License-Identifier: MIT
// MainWindow: uploads the image through the infrared transmitter of a SUB-20. Runs on a pool thread.
#include "app/mainwindow.h"
#include "update/emitter.h"
#include "update/imagefile.h"
#include "update/infraredframe.h"
#include "update/loaderresult.h"

#include <QDebug>
#include <QGuiApplication>

namespace {

constexpr int CarrierHz = 38000;
/// The library's further infrared settings, meant to be just these.
constexpr std::array<int, 3> IrSettings{10, 1, 10};
/// The panel takes the first good copy of a frame.
constexpr int CopiesPerFrame = 3;
constexpr int BlocksPerProgress = 3;

} // namespace

int MainWindow::irBoot()
{
    qDebug("boot run");
    // The cursor belongs to the GUI thread; handleFinished() restores it.
    QMetaObject::invokeMethod(this, [] { QGuiApplication::setOverrideCursor(Qt::WaitCursor); });
    Sub20 &library = Sub20::instance();
    sub20Handle = library.open(nullptr);
    if (!sub20Handle) {
        reportError(QStringLiteral("SUB-20 not connected!"));
        return LoaderFailed;
    }
    irProtocolVariant = InfraredCrcVariant;

    ImageFile image(job.imageFileName);
    if (!image.open()) {
        emit emitter->errorSignal(image.openErrorText());
        return LoaderFailed;
    }
    const auto [error, errorText] =
        library.irConfig(sub20Handle, CarrierHz, IrSettings[0], IrSettings[1], IrSettings[2]);
    if (error != 0) {
        emit emitter->errorSignal(QStringLiteral("SUB-20 sub_ir_config: %1").arg(errorText));
        return error;
    }
    return sendFrames(image);
}

int MainWindow::sendFrames(ImageFile &image)
{
    const int blocks = static_cast<qint32>(image.size()) / static_cast<int>(InfraredBlockSize);
    emit emitter->load_start(0, blocks);

    InfraredBlock block{}; // a short last read leaves the end of the block before it
    InfraredFrame frame{};
    std::uint8_t number = 0;
    int sent = 0;
    qint64 count = 0;
    while ((count = image.read(block)) > 0) {
        if (stopRequested)
            return LoaderFailed;
        buildInfraredFrame(frame, irProtocolVariant, number, block);
        if (const int error = transmit(frame); error != 0)
            return error;
        ++sent;
        if (sent % BlocksPerProgress == 0)
            emit emitter->load_progress(sent);
        number = nextInfraredNumber(number);
    }

    emit emitter->load_progress(blocks);
    if (count < 0) {
        emit emitter->errorSignal(QStringLiteral("IRBOOT. Image read failed: %1").arg(image.errorText()));
        return LoaderFailed;
    }
    emit emitter->load_finish();
    return LoaderDone;
}

int MainWindow::transmit(InfraredFrame &frame)
{
    Sub20 &library = Sub20::instance();
    for (int copy = 0; copy < CopiesPerFrame; ++copy) {
        const auto [error, errorText] = library.irTx(sub20Handle, frame);
        if (error != 0) {
            emit emitter->errorSignal(QStringLiteral("SUB-20 sub_ir_tx: %1").arg(errorText));
            return error;
        }
    }
    return LoaderDone;
}
