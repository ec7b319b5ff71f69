// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace simulator {

/// A file descriptor that is closed with its owner.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : value(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const { return value; }
    void reset(int number);
    void close() { reset(-1); }

private:
    int value;
};

/// A raw pseudo-terminal: the panel's end of a serial line. It holds the client's side open as well, so that
/// clients may come and go without the line being hung up in between, and their settings last.
class PseudoTerminal
{
public:
    /// Throws std::system_error when the system has no pseudo-terminal to give.
    PseudoTerminal();

    /// The device that a client opens.
    const std::string &clientPath() const { return clientName; }

    /// For poll(); -1 after a hang-up.
    int descriptor() const { return panelSide.number(); }

    /// What has arrived, without waiting; the bytes are valid until the next call.
    std::span<const std::uint8_t> read(std::span<std::uint8_t> buffer);

    /// Writes without waiting and returns how many bytes the line took: a client that does not read loses the
    /// rest, as on a serial line.
    std::size_t write(std::span<const std::uint8_t> bytes);

    /// Takes the line away from the client, as pulling out its adapter does.
    void hangUp();

private:
    Descriptor panelSide;
    Descriptor clientSide;
    std::string clientName;
};

} // namespace simulator
