// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace simulator {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline constexpr std::uint8_t BroadcastAddress = 0;
inline constexpr std::uint8_t DefaultPanelAddress = 80;
inline constexpr std::size_t RecordBytes = 32;

/// The CRC-16 of the Modbus serial line guide (polynomial 0xA001 reflected, initial value 0xFFFF). It is
/// worked out bit by bit and shares nothing with the program's own, so that each checks the other.
std::uint16_t modbusCrc(ByteView bytes);

/// Appends the CRC of `frame` to it, low byte first.
void appendModbusCrc(Bytes &frame);

/// True when the last two bytes of `frame` are the CRC of those before them. Never true below 4 bytes, the
/// shortest frame of a serial line (address, function, CRC).
bool hasGoodCrc(ByteView frame);

/// Length in bytes, CRC included, of the request that begins with `begin`, as far as its first bytes tell;
/// empty for a function whose length the panel does not know, or while too few bytes are there.
std::optional<std::size_t> requestLength(ByteView begin);

/// Number of the (first) record that a Write File Record request carries; empty for every other request.
std::optional<std::uint16_t> recordNumber(ByteView request);

/// The panel's boot loader as a Modbus RTU slave: request frames go in, reply frames come out, and the image
/// grows. It knows neither a transport nor time. Not thread-safe.
class PanelModel
{
public:
    /// How the panel hears a frame on the line.
    enum class Hearing { Damaged, OtherAddress, Broadcast, Addressed };

    /// Discard: the request is checked, counted and answered, but its records do not reach the image.
    enum class Taking { Store, Discard };

    struct Counts
    {
        std::uint64_t requests = 0; ///< every frame on the line, whoever it was for
        std::uint64_t records = 0;  ///< records stored, repeats included
        std::uint64_t badCrcs = 0;
        std::uint64_t otherAddresses = 0;
        std::uint64_t broadcasts = 0;
        std::uint64_t exceptions = 0; ///< requests that the panel refused
    };

    explicit PanelModel(std::uint8_t address = DefaultPanelAddress);

    Hearing hearing(ByteView request) const;

    /// Takes one whole request frame, CRC included, and returns the reply frame; empty when the panel keeps
    /// silent (damaged frame, another slave's address, broadcast).
    Bytes answer(ByteView request, Taking taking = Taking::Store);

    /// The image as received: record r lies at r * 32, and gaps read 0xFF like erased memory. Record 0 begins
    /// a new image.
    const Bytes &image() const { return received; }

    /// Lowest offset that the last request wrote; the image's size when it wrote nothing.
    std::size_t changedFrom() const { return firstChange; }

    /// One more than the number of the record stored last; 0 before the first.
    std::uint32_t nextRecord() const { return following; }

    const Counts &counts() const { return tally; }

private:
    Bytes obey(ByteView request, Taking taking);
    Bytes writeFileRecord(ByteView request, Taking taking);
    Bytes readDeviceIdentification(ByteView request) const;
    void store(std::uint16_t record, ByteView data);

    std::uint8_t ownAddress;
    Bytes received;
    std::size_t firstChange = 0;
    std::uint32_t following = 0;
    Counts tally;
};

} // namespace simulator
