// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/panelmodel.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <cstdint>
#include <span>

/// What a transaction has to come to, worked out from the reply alone, with the simulated panel's CRC.
struct Judgement
{
    std::int32_t result = 0;
    /// What is reported beside the result.
    QStringList errors = {};
};

/// The record that the targets write, and the one that the text names.
inline constexpr int RecordNumber = 7;

inline QString wordsFor(std::uint8_t exceptionCode)
{
    static const QStringList Words{QStringLiteral("Illegal Function"), QStringLiteral("Illegal Data Address"),
                                   QStringLiteral("Illegal Data Value"),
                                   QStringLiteral("Slave Device Failure")};
    const QString words = Words.value(exceptionCode - 1);
    return words.isEmpty() ? QString::number(exceptionCode) + QStringLiteral(" - Unknown") : words;
}

/// Judges the bytes that were read as the reply. With an `echo`, the reply has to be just that.
inline Judgement judge(std::span<const std::uint8_t> reply, const QByteArray &echo)
{
    const std::size_t size = reply.size();
    if (size == 0)
        return {138};
    if (size > 255)
        return {27};
    if (size <= 2)
        return {32,
                {QStringLiteral("Frame incomplete (sz=") + QString::number(size) + QStringLiteral(")\n")}};
    const std::uint16_t crc = simulator::modbusCrc(reply.first(size - 2));
    if (reply[size - 2] != (crc & 0xFF) || reply[size - 1] != (crc >> 8))
        return {104, {QStringLiteral("CRC error")}};
    if (reply[1] >= 0x80)
        return {40, {QStringLiteral("Modbus Exception: ") + wordsFor(reply[2])}};
    const auto same = [](std::uint8_t byte, char other) { return byte == static_cast<std::uint8_t>(other); };
    if (!echo.isEmpty() && !std::equal(reply.begin(), reply.end(), echo.begin(), echo.end(), same))
        return {65536, {QStringLiteral("The panel's reply to record 7 is not the echo of the request")}};
    return {};
}
