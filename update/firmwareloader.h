// SPDX-License-Identifier: MIT
#pragma once

#include "sub20/sub20.h"
#include "update/runfigures.h"
#include "update/updatejob.h"

#include <QElapsedTimer>
#include <QString>

#include <atomic>
#include <functional>
#include <utility>

class Emitter;
class QObject;

/// What every loader returns for success, and for a failure or a stop; and what a run ends with whose image
/// was refused before its loader began. Any other value is an error code of the adapter's library or a result
/// of the Modbus link.
enum LoaderResult : int {
    LoaderDone = 0,
    LoaderFailed = -1,
    /// Beyond the numbers that the panel's side and the adapter are known to use.
    ImageRefused = 0x20000
};

/// What a loader is lent for one run. The loader works on a thread of its own, and whoever lends keeps all of
/// it alive until run() has returned.
struct LoaderContext
{
    UpdateJob job;
    /// Progress and errors, to whoever listens.
    Emitter &emitter;
    /// Polled once a block, behind the read from the image and before the block is sent.
    const std::atomic<bool> &stopRequested;
    Sub20 &adapter;
    /// The adapter that the loader has opened; it stays open, and whoever lent the handle closes it after the
    /// run. Written by the loader while it runs, read by nobody else until it has returned: no lock is
    /// needed.
    sub_handle &sub20Handle;
    /// Has the slot reportError(QString), to which errors of the link are connected.
    QObject &errorReceiver;
    /// Shows an error box from the loader's thread, and returns when it is closed.
    std::function<void(const QString &)> reportError;
    /// Shows that the loader is at work, until its run has ended.
    std::function<void()> showBusy;
    /// Where the loader leaves what became of the run; null when nobody asks.
    RunFigures *figures = nullptr;
};

/// Sends one image to the panel.
class FirmwareLoader
{
public:
    explicit FirmwareLoader(LoaderContext lent) : context(std::move(lent)) {}
    virtual ~FirmwareLoader() = default;

    FirmwareLoader(const FirmwareLoader &) = delete;
    FirmwareLoader &operator=(const FirmwareLoader &) = delete;

    /// Blocks until the image is sent, the run has failed or the stop was seen. A LoaderResult, an error code
    /// of the adapter's library or a result of the Modbus link.
    [[nodiscard]] virtual int run() = 0;

protected:
    /// To be called right before a piece of the image goes out, and when it has gone well.
    void noteSending()
    {
        if (!context.figures)
            return;
        ++context.figures->sent;
        pieceTimer.start();
    }
    void noteDone(bool isWholePiece)
    {
        if (!context.figures)
            return;
        ++context.figures->done;
        if (isWholePiece && context.figures->timesUs.size() < RunFigures::MostTimes)
            context.figures->timesUs.push_back(static_cast<quint32>(pieceTimer.nsecsElapsed() / NsPerUs));
    }

    const LoaderContext context;

private:
    static constexpr qint64 NsPerUs = 1000;

    QElapsedTimer pieceTimer;
};
