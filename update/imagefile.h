// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QString>
#include <QtGlobal>

#include <cstdint>
#include <span>

/// The system's error number (errno) that an error of Qt's with this file stands for. Qt leaves errno alone
/// where it refuses by itself, and on Windows always.
[[nodiscard]] int systemErrorOf(QFileDevice::FileError error, const QString &fileName);

/// A firmware image, read as raw bytes from its start. After a failed open() or read(), errorText() says why
/// in the system's own words.
class ImageFile
{
public:
    explicit ImageFile(const QString &fileName) : file(fileName) {}

    [[nodiscard]] bool open();
    /// The size in bytes.
    qint64 size() const { return file.size(); }
    /// Fills `block` as far as the file reaches. The number of bytes read, 0 at the end, -1 for a failure.
    [[nodiscard]] qint64 read(std::span<std::uint8_t> block);
    /// Lets go of the file, as the destructor does.
    void close() { file.close(); }
    QString errorText() const;
    /// What is reported when the image does not open.
    QString openErrorText() const;

private:
    QFile file;
    /// The system's error number (errno) of the call that failed.
    int error = 0;
};
