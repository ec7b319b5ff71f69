// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

/// Where the adapter's library may be, in the order in which the places are tried: absolute paths, or a name
/// that the system's own loader looks up in its trusted places. Never the current directory.
[[nodiscard]] QStringList sub20LibraryFiles();

/// The file that the code at `address` was loaded from; empty when the system does not say.
[[nodiscard]] QString loadedFile(QFunctionPointer address);
