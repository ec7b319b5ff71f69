// SPDX-License-Identifier: MIT
#pragma once

#include "tests/docs/markdown.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QTest>

inline const QString InfraredGuide = QStringLiteral("docs/infrared-protocol.md");
inline const QString ModbusGuide = QStringLiteral("docs/modbus-protocol.md");
inline const QString UserGuide = QStringLiteral("docs/user-guide.md");
inline const QString Readme = QStringLiteral("README.md");

/// The bytes of a hex block of a guide: two digits a byte, one blank between, and behind three blanks or more
/// a remark. Empty when the block is missing, is empty, or has a line that is none of that.
inline QByteArray hexBlock(const Markdown &guide, const QString &name)
{
    static const QRegularExpression line(QStringLiteral(R"(^([0-9A-F]{2}(?: [0-9A-F]{2})*)(?: {3,}\S.*)?$)"));
    QByteArray bytes;
    const QStringList lines = guide.fence(QStringLiteral("hex ") + name);
    for (const QString &text : lines) {
        const QRegularExpressionMatch match = line.match(text);
        if (!match.hasMatch())
            return {};
        bytes += QByteArray::fromHex(match.captured(1).toLatin1());
    }
    return bytes;
}

/// The infos of a guide's fenced blocks, in their order.
inline QStringList fenceInfos(const Markdown &guide)
{
    QStringList infos;
    const QList<Markdown::Fence> fences = guide.fences();
    for (const Markdown::Fence &fence : fences)
        infos += fence.info;
    return infos;
}

/// Nothing was found to object to; else the test fails with what it is.
inline void verifyNone(const QStringList &objections)
{
    QVERIFY2(objections.isEmpty(), qPrintable(objections.join(QStringLiteral("\n         "))));
}
