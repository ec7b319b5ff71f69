// SPDX-License-Identifier: MIT
#pragma once

#include "update/firmwareloader.h"

#include <QByteArrayView>
#include <QtGlobal>

#include <limits>

/// Why a file is not sent as an image.
enum class ImageFault {
    None,
    Empty,
    TooLarge,
    Page,
    Zip,
    Gzip,
    Pdf,
    LinuxProgram,
    WindowsProgram,
    Unreadable,
    /// Of the checksum file beside the image.
    ChecksumUnreadable,
    ChecksumMissing,
    ChecksumDiffers
};

/// For a link that sends images of any size.
inline constexpr qint64 AnyImageSize = std::numeric_limits<qint64>::max();

/// What an image of so many bytes, which begins like this, shows of itself: that it has a size that cannot be
/// sent, or that it is something else, as a browser saves it under a wrong name.
[[nodiscard]] ImageFault imageFault(QByteArrayView beginning, qint64 size, qint64 maxSize);

/// Looks at the image of a run before its loader is made, if the job asks for that; on the loader's thread.
/// LoaderDone when the loader may begin, also where the file does not open, which the loader reports.
/// ImageRefused when it may not: the emitter has reported why. LoaderFailed for a stop.
[[nodiscard]] int checkImage(const LoaderContext &context, qint64 maxSize);
