// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// The SHA-256 digests, 32 bytes each, that the text of a checksum file gives for the file of this name,
/// which has no folder. Understood are the lines that sha256sum writes, as text, as binary and with --tag,
/// and a digest that stands alone in the file. A name in the text may have a folder; the case of its letters
/// does not count. Empty: the text says nothing of that file, or nothing at all.
[[nodiscard]] QList<QByteArray> sha256DigestsFor(const QString &name, const QByteArray &text);
