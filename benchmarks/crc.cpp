// SPDX-License-Identifier: MIT
// The Modbus checksum's speed, next to that of the same sum worked out bit by bit.
#include "benchmarks/figure.h"
#include "modbus/crc16.h"

#include <QElapsedTimer>

namespace {

constexpr int Rounds = 21;
constexpr qsizetype BufferSize = 1 << 20;
constexpr double NanosecondsPerSecond = 1e9;
constexpr double BytesPerMegabyte = 1e6;

std::uint16_t bitwiseCrc(std::span<const std::uint8_t> bytes)
{
    constexpr unsigned ReflectedPolynomial = 0xA001;
    constexpr int BitsPerByte = 8;
    unsigned crc = 0xFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < BitsPerByte; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ ReflectedPolynomial : crc >> 1U;
    }
    return static_cast<std::uint16_t>(crc);
}

struct Run
{
    double megabytesPerSecond;
    std::uint16_t sum;
};

template<typename Crc> Run measure(Crc crc, std::span<const std::uint8_t> bytes)
{
    QElapsedTimer timer;
    timer.start();
    const std::uint16_t sum = crc(bytes);
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / NanosecondsPerSecond;
    return {static_cast<double>(bytes.size()) / BytesPerMegabyte / seconds, sum};
}

} // namespace

int main()
{
    const QByteArray buffer = sampleImage(BufferSize);
    const std::span bytes(reinterpret_cast<const std::uint8_t *>(buffer.constData()),
                          static_cast<std::size_t>(buffer.size()));
    std::vector<double> table;
    std::vector<double> bitwise;
    for (int round = 0; round < Rounds; ++round) {
        const Run byTable = measure(rtu::crc16, bytes);
        const Run byBits = measure(bitwiseCrc, bytes);
        if (byTable.sum != byBits.sum)
            giveUp(QStringLiteral("the checksums differ"));
        table.push_back(byTable.megabytesPerSecond);
        bitwise.push_back(byBits.megabytesPerSecond);
    }
    printRatio(QStringLiteral("crc: CRC-16 per second, beside bit by bit"), median(table), median(bitwise),
               "MB/s", 0, {});
    return EXIT_SUCCESS;
}
