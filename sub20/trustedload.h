// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Has the system load a library for the first time, in such a way that what the library itself depends on is
/// looked for in trusted places alone: whoever leaves a file in the current directory, or in a folder of
/// PATH, must not get it into this program. Keeps the library loaded as long as it lives; meanwhile QLibrary
/// finds it there, and searches no more.
class TrustedLoad
{
public:
    explicit TrustedLoad(const QString &file);
    ~TrustedLoad();
    TrustedLoad(const TrustedLoad &) = delete;
    TrustedLoad &operator=(const TrustedLoad &) = delete;

    /// Why the library cannot be loaded; empty when it can, or when that is left to QLibrary.
    const QString &problem() const { return text; }

private:
    [[maybe_unused]] void *module = nullptr; ///< what Windows gave for it
    QString text;
};
