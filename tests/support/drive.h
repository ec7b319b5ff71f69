// SPDX-License-Identifier: MIT
#pragma once

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

/// While it lives, counts what this thread reads from files, and fails behind so many bytes, as a drive that
/// is pulled out. For one source file of a test program: it stands before the system's own function.
class Drive
{
public:
    explicit Drive(std::size_t bytes = SIZE_MAX) : good(bytes) { current = this; }
    ~Drive() { current = nullptr; }
    Drive(const Drive &) = delete;
    Drive &operator=(const Drive &) = delete;

    std::size_t bytesRead() const { return count; }

    static ssize_t read(int descriptor, void *buffer, std::size_t size)
    {
        static const auto systemsOwn =
            reinterpret_cast<ssize_t (*)(int, void *, std::size_t)>(::dlsym(RTLD_NEXT, "read"));
        if (!current)
            return systemsOwn(descriptor, buffer, size);
        if (current->count == current->good) {
            errno = EIO;
            return -1;
        }
        const ssize_t got = systemsOwn(descriptor, buffer, std::min(size, current->good - current->count));
        current->count += got > 0 ? static_cast<std::size_t>(got) : 0;
        return got;
    }

private:
    static inline thread_local Drive *current = nullptr;

    const std::size_t good;
    std::size_t count = 0;
};

ssize_t read(int descriptor, void *buffer, std::size_t size)
{
    return Drive::read(descriptor, buffer, size);
}
