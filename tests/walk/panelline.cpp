// SPDX-License-Identifier: MIT
#include "tests/walk/panelline.h"

#include "tests/walk/wires.h"

#include <QByteArray>
#include <QFile>

#include <poll.h>
#include <pty.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <optional>

namespace {

constexpr qsizetype HeaderSize = 3;
/// What comes beside the bytes that a request's third byte counts: address, function, count and CRC.
constexpr int Uncounted = 5;

} // namespace

PanelLine::PanelLine(Wires &on, const QString &portName)
    : wires(on), name(portName), wakeUp(::eventfd(0, EFD_CLOEXEC))
{
    termios raw{};
    cfmakeraw(&raw);
    std::array<char, 64> path{};
    if (wakeUp < 0 || ::openpty(&master, &slave, path.data(), &raw, nullptr) != 0 ||
        !QFile::link(QString::fromLatin1(path.data()), name))
        qFatal("no pseudo-terminal");
    thread = std::thread([this] { serve(); });
}

PanelLine::~PanelLine()
{
    isGone = true;
    wires.wake();
    ::eventfd_write(wakeUp, 1);
    thread.join();
    QFile::remove(name);
    for (const int file : {slave, master, wakeUp})
        ::close(file);
}

bool PanelLine::awaitBytes() const
{
    std::array<pollfd, 2> files{pollfd{master, POLLIN, 0}, pollfd{wakeUp, POLLIN, 0}};
    ::poll(files.data(), files.size(), -1);
    return !isGone;
}

void PanelLine::serve()
{
    QByteArray request;
    while (awaitBytes()) {
        std::array<char, 256> bytes{};
        request.append(bytes.data(), ::read(master, bytes.data(), bytes.size()));
        if (request.size() < HeaderSize || request.size() < static_cast<quint8>(request.at(2)) + Uncounted)
            continue;
        const std::optional<Outcome> outcome = wires.serialFrame(
            name + u' ' + QString::fromLatin1(request.toHex()), [this] { return isGone.load(); });
        if (!outcome)
            return;
        const QByteArray reply = replyTo(request, *outcome);
        if (::write(master, reply.constData(), static_cast<std::size_t>(reply.size())) != reply.size())
            qFatal("the pseudo-terminal takes no reply");
        request.clear();
    }
}
