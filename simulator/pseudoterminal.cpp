// SPDX-License-Identifier: MIT
#include "simulator/pseudoterminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace simulator {

namespace {

[[noreturn]] void fail(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// Without this the terminal would echo the panel's own bytes and wait for line ends.
void makeRaw(int terminal)
{
    termios settings{};
    if (tcgetattr(terminal, &settings) != 0)
        fail("cannot read the pseudo-terminal's settings");
    cfmakeraw(&settings);
    cfsetispeed(&settings, B9600);
    cfsetospeed(&settings, B9600);
    if (tcsetattr(terminal, TCSANOW, &settings) != 0)
        fail("cannot set the pseudo-terminal's settings");
}

} // namespace

void Descriptor::reset(int number)
{
    if (value >= 0)
        ::close(value);
    value = number;
}

PseudoTerminal::PseudoTerminal() : panelSide(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
{
    if (panelSide.number() < 0)
        fail("cannot open a pseudo-terminal");
    if (grantpt(panelSide.number()) != 0 || unlockpt(panelSide.number()) != 0)
        fail("cannot unlock the pseudo-terminal");
    const char *const path = ptsname(panelSide.number());
    if (path == nullptr)
        fail("cannot name the pseudo-terminal");
    clientName = path;
    clientSide.reset(::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (clientSide.number() < 0)
        fail("cannot open the pseudo-terminal's client side");
    makeRaw(clientSide.number());
}

std::span<const std::uint8_t> PseudoTerminal::read(std::span<std::uint8_t> buffer)
{
    const ssize_t count = ::read(panelSide.number(), buffer.data(), buffer.size());
    return count > 0 ? buffer.first(static_cast<std::size_t>(count)) : buffer.first(0);
}

std::size_t PseudoTerminal::write(std::span<const std::uint8_t> bytes)
{
    const ssize_t count = ::write(panelSide.number(), bytes.data(), bytes.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void PseudoTerminal::hangUp()
{
    clientSide.close();
    panelSide.close();
}

} // namespace simulator
