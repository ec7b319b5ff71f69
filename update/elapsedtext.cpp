// SPDX-License-Identifier: MIT
#include "update/elapsedtext.h"

namespace {

constexpr quint32 MillisecondsPerSecond = 1000;
constexpr quint32 SecondsPerMinute = 60;
constexpr quint32 MinutesPerHour = 60;

} // namespace

QString elapsedText(quint32 milliseconds)
{
    const quint32 seconds = milliseconds / MillisecondsPerSecond;
    const quint32 minutes = seconds / SecondsPerMinute;
    return QStringLiteral("Elapsed time: ") +
           QString::asprintf("%02u:%02u", minutes % MinutesPerHour, seconds % SecondsPerMinute);
}
