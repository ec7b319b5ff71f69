// SPDX-License-Identifier: MIT
#include "simulator/stopsignal.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace simulator {

namespace {

// A handler may call write() but nothing that locks, hence the pipe. It lives as long as the process.
std::array<int, 2> pipeEnds{-1, -1};

void onSignal(int)
{
    const int kept = errno;
    const char wake = 0;
    // A full pipe has woken the reader already.
    [[maybe_unused]] const ssize_t written = ::write(pipeEnds[1], &wake, sizeof wake);
    errno = kept;
}

} // namespace

StopSignal::StopSignal()
{
    if (::pipe(pipeEnds.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot open a pipe");
    for (const int end : pipeEnds) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    struct sigaction action
    {
    };
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (::sigaction(signal, &action, nullptr) != 0)
            throw std::system_error(errno, std::generic_category(), "cannot catch signals");
    }
}

int StopSignal::descriptor() const
{
    return pipeEnds[0];
}

} // namespace simulator
