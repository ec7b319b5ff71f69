// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

/// Where the adapter's library may be, in the order in which the places are tried: absolute paths, or a name
/// that the system's own loader looks up in its trusted places. Never the current directory.
[[nodiscard]] QStringList sub20LibraryFiles();
