// SPDX-License-Identifier: MIT
#pragma once

#include <QTest>

#include <sys/resource.h>

/// While it lives, the process can open nothing, neither files nor sockets; what is open stays so.
class NothingToOpen
{
public:
    NothingToOpen()
    {
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
        const rlimit none{0, before.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NothingToOpen() { ::setrlimit(RLIMIT_NOFILE, &before); }
    NothingToOpen(const NothingToOpen &) = delete;
    NothingToOpen &operator=(const NothingToOpen &) = delete;

private:
    rlimit before{};
};
