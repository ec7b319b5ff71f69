// SPDX-License-Identifier: MIT
#pragma once

class QFile;

/// Keeps other programs that lock the same file waiting, for as long as it lives or the file is open. Waits
/// for them a tenth of a second itself, and then does without: a program that hangs must not hang this one.
class FileLock
{
public:
    /// `locked` is open for writing.
    explicit FileLock(QFile &locked);
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    [[nodiscard]] bool isHeld() const { return held; }
    /// Whether the file is still the one of its name: another program may have renamed it meanwhile.
    [[nodiscard]] bool isCurrent() const;

private:
    /// False while another program has it. Where a file system knows no locks, nobody can have it.
    [[nodiscard]] bool tryLock();

    QFile &file;
    bool held = false;
};
