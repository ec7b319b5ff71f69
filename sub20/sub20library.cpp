// SPDX-License-Identifier: MIT
#include "sub20/sub20library.h"

#include "sub20/trustedload.h"

#include <QLibrary>

Sub20Library loadSub20Library(const QString &file)
{
    const TrustedLoad load(file);
    if (!load.problem().isEmpty())
        return {std::nullopt, load.problem()};
    QLibrary library(file);
    if (!library.load())
        return {std::nullopt, library.errorString()};
    Sub20Functions functions;
    const QString missing =
        resolveSub20Functions(functions, [&library](const char *symbol) { return library.resolve(symbol); });
    if (missing.isEmpty())
        return {functions, {}};
    library.unload();
    return {std::nullopt, QStringLiteral("%1: missing symbol %2").arg(library.fileName(), missing)};
}
