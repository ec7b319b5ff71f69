// SPDX-License-Identifier: MIT
// Has the address sanitizer look for leaks before the libraries' own static objects are gone, instead of
// after.
//
// A thread of Qt says that it is finished while it still holds a piece of memory, which it gives back when
// its thread-specific data is torn down. When the process ends meanwhile, QtCore deletes the key of that data
// as one of the last things: a thread that is late then finds nothing to give back. Those bytes are a leak to
// a check behind it, though no one else's; to a check before it, the thread still holds them.
//
// All that this program makes is gone by then. What has been made while it ran, Qt's globals and its own, is
// undone in the reverse order of its making, and this function was put there first.
#include <sanitizer/lsan_interface.h>

#include <cstdlib>

namespace {

/// Before every static object of the program.
__attribute__((constructor(101))) void checkForLeaksAtTheEnd()
{
    static_cast<void>(std::atexit(__lsan_do_leak_check));
}

} // namespace
