// SPDX-License-Identifier: MIT
#pragma once

// A stand-in for the library of the SUB-20 adapter, with a simulated panel behind its infrared transmitter
// and its RS-485 port. Put its folder where the program looks for the adapter's library.
//
// It is set up through environment variables, which README.md in this folder lists. They are read at every
// call; when one has changed, the simulation starts afresh: counts at zero, no image, a new panel. Handles
// that are open stay open.

#if defined(_WIN32)
#define SIMULATEDSUB20_EXPORT __declspec(dllexport)
#else
#define SIMULATEDSUB20_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

using sub_device = void *;
using sub_handle = void *;

/// Error code of the last call that failed, on whatever thread.
SIMULATEDSUB20_EXPORT extern int sub_errno;

/// The adapter after `first`, or the first one for null; null when there is no further one.
SIMULATEDSUB20_EXPORT sub_device sub_find_devices(sub_device first);

/// Opens an adapter, for null the first one; null on failure.
SIMULATEDSUB20_EXPORT sub_handle sub_open(sub_device device);

/// The functions below return 0, or a negative error code.
SIMULATEDSUB20_EXPORT int sub_close(sub_handle handle);

/// The text for an error code; the library owns it.
SIMULATEDSUB20_EXPORT char *sub_strerror(int code);

/// The simulated panel hears nothing unless this was called with 38000 Hz, 10, 1, 10.
SIMULATEDSUB20_EXPORT int sub_ir_config(sub_handle handle, int carrierHz, int first, int second, int third);

SIMULATEDSUB20_EXPORT int sub_ir_tx(sub_handle handle, int size, char *data);

/// Times in microseconds.
SIMULATEDSUB20_EXPORT int sub_rs_timing(sub_handle handle, int flags, int txSpacingUs, int replyTimeoutUs,
                                        int interByteTimeoutUs);

/// Returns the number of bytes received, 0 for none within the reply time-out, or a negative error code.
SIMULATEDSUB20_EXPORT int sub_rs_xfer(sub_handle handle, char *tx, int txSize, char *rx, int rxSize);
}
