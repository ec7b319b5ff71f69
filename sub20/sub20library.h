// SPDX-License-Identifier: MIT
#pragma once

#include "sub20/sub20functions.h"

#include <QString>

#include <optional>

/// What looking into a file for the adapter's library came to: its functions, or why it cannot be used.
struct Sub20Library
{
    std::optional<Sub20Functions> functions;
    QString problem;
};

/// Loads the adapter's library from a file, or by a name that the system's loader looks up. A good library
/// stays loaded until the program ends. One of no use is let go, so that a better file in its place is found
/// the next time.
[[nodiscard]] Sub20Library loadSub20Library(const QString &file);
