// SPDX-License-Identifier: MIT
#include "update/elapsedtext.h"

namespace {

constexpr quint32 MillisecondsPerSecond = 1000;
constexpr quint32 MillisecondsPerMinute = 60000;
constexpr quint32 Sixty = 60;

} // namespace

QString elapsedText(quint32 milliseconds)
{
    const quint32 minutes = milliseconds / MillisecondsPerMinute % Sixty;
    const quint32 seconds = milliseconds / MillisecondsPerSecond % Sixty;
    return QStringLiteral("Elapsed time: ") + QString::asprintf("%02u:%02u", minutes, seconds);
}
