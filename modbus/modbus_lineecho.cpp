// SPDX-License-Identifier: MIT
// Modbus: the echo of a serial line whose converter returns all that is sent.
#include "modbus/modbus.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <cstddef>
#include <span>

/// Takes as many bytes off the line as the request has, in whatever portions they come, and compares them
/// with it. False when a byte differs or when not all have come by `echoEnd`. What follows them is left in
/// the port: it belongs to the reply.
bool Modbus::takeLineEcho(std::int32_t requestLength, const QDeadlineTimer &echoEnd)
{
    qint64 before = -1;
    while (serialPort->bytesAvailable() < requestLength && serialPort->bytesAvailable() > before) {
        before = serialPort->bytesAvailable();
        awaitBytes(static_cast<std::int32_t>(echoEnd.remainingTime()));
    }
    if (serialPort->bytesAvailable() < requestLength) // this thread may have slept: one last look
        serialPort->waitForReadyRead(0);
    lineEchoWhole = serialPort->bytesAvailable() >= requestLength;
    const QByteArray echo = serialPort->read(requestLength);
    const auto request = std::span(requestBuffer).first(static_cast<std::size_t>(requestLength));
    const auto matches =
        std::ranges::equal(request, echo, {}, {}, [](char byte) { return static_cast<std::uint8_t>(byte); });
    // A reply that came in together with the end of the echo brings no notice of its own any more.
    replyArrived = serialPort->bytesAvailable() > 0;
    return matches;
}

QString Modbus::lineEchoText(std::uint16_t recordNumber) const
{
    return lineEchoWhole ? QStringLiteral("The converter returned record %1 changed").arg(recordNumber)
                         : QStringLiteral("The converter did not return all of record %1").arg(recordNumber);
}
