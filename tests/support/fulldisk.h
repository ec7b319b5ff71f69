// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <sys/resource.h>

/// No file of this process, and of those that it starts meanwhile, can grow beyond so many bytes, as on a
/// disk that is full.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        ::setrlimit(RLIMIT_FSIZE, &before);
        ::signal(SIGXFSZ, SIG_DFL);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    rlimit before{};
};
