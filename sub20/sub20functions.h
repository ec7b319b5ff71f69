// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

#include <functional>

/// The C types of the SUB-20 adapter's library.
using sub_device = void *;
using sub_handle = void *;

/// The functions of the adapter's library and its error variable: those of a library that was found, or a
/// test's own. Each entry is set.
struct Sub20Functions
{
    sub_device (*findDevices)(sub_device first) = nullptr;
    sub_handle (*open)(sub_device device) = nullptr;
    int (*close)(sub_handle handle) = nullptr;
    /// May answer null.
    char *(*errorText)(int code) = nullptr;
    int (*irConfig)(sub_handle handle, int carrierHz, int first, int second, int third) = nullptr;
    int (*irTx)(sub_handle handle, int size, char *data) = nullptr;
    int (*rsTiming)(sub_handle handle, int flags, int txSpacingUs, int replyTimeoutUs,
                    int interByteTimeoutUs) = nullptr;
    int (*rsXfer)(sub_handle handle, char *tx, int txSize, char *rx, int rxSize) = nullptr;
    /// The one variable in which the library leaves its last error.
    int *lastError = nullptr;
};

/// Where a symbol of a library is; null when the library has none of that name.
using SymbolLookup = std::function<QFunctionPointer(const char *symbol)>;

/// Fills the table. The name of the first symbol that is missing; empty when the table is whole.
[[nodiscard]] QString resolveSub20Functions(Sub20Functions &functions, const SymbolLookup &lookUp);
