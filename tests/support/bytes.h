// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <cstdint>
#include <span>

/// Qt's byte arrays, which print well when a comparison fails, and the spans that the frames are made of.

inline std::span<const std::uint8_t> byteView(const QByteArray &bytes)
{
    return {reinterpret_cast<const std::uint8_t *>(bytes.constData()),
            static_cast<std::size_t>(bytes.size())};
}

inline QByteArray byteArray(std::span<const std::uint8_t> bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

/// `count` bytes that count up from `first`.
inline QByteArray countingBytes(int first, int count)
{
    QByteArray bytes;
    for (int value = first; value < first + count; ++value)
        bytes += static_cast<char>(value);
    return bytes;
}

/// `count` bytes in which no frame or record is like another one nearby: they repeat after a prime number.
inline QByteArray unevenBytes(int count)
{
    constexpr int Period = 251;
    QByteArray bytes;
    for (int value = 0; value < count; ++value)
        bytes += static_cast<char>(value % Period);
    return bytes;
}
