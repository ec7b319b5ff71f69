// SPDX-License-Identifier: MIT
#include "update/checksumfile.h"

#include <QRegularExpression>
#include <QStringDecoder>
#include <QStringList>

#include <optional>

namespace {

struct Entry
{
    QString name;
    QByteArray digest;
};

/// Resolves the escapes of a line that begins with a backslash: sha256sum writes it so when a name would
/// spoil the line.
QString unescaped(const QString &name)
{
    QString plain;
    for (qsizetype i = 0; i < name.size(); ++i) {
        if (name.at(i) != u'\\' || i + 1 == name.size()) {
            plain += name.at(i);
            continue;
        }
        const QChar code = name.at(++i);
        plain += code == u'n' ? QChar(u'\n') : code == u'r' ? QChar(u'\r') : code;
    }
    return plain;
}

std::optional<Entry> entryOf(const QString &line)
{
    static const QRegularExpression usual(
        QStringLiteral(R"(^(?<escaped>\\?)(?<digest>[0-9A-Fa-f]{64}) [ *](?<name>.+)$)"));
    static const QRegularExpression tagged(
        QStringLiteral(R"(^(?<escaped>\\?)SHA256 \((?<name>.+)\) = (?<digest>[0-9A-Fa-f]{64})$)"));
    for (const QRegularExpression &form : {usual, tagged}) {
        const QRegularExpressionMatch match = form.match(line);
        if (!match.hasMatch())
            continue;
        const QString name = match.captured(u"name");
        return Entry{match.capturedView(u"escaped").isEmpty() ? name : unescaped(name),
                     QByteArray::fromHex(match.captured(u"digest").toLatin1())};
    }
    return std::nullopt;
}

/// Whichever system's slash the path has.
QString withoutFolder(const QString &path)
{
    static const QRegularExpression slash(QStringLiteral(R"([/\\])"));
    return path.sliced(path.lastIndexOf(slash) + 1);
}

/// The lines that hold something. A shell of Windows writes what it redirects as UTF-16.
QStringList linesOf(const QByteArray &text)
{
    static const QRegularExpression end(QStringLiteral("\r?\n"));
    QStringDecoder decode(QStringConverter::encodingForData(text).value_or(QStringConverter::Utf8));
    return QString(decode(text)).split(end, Qt::SkipEmptyParts);
}

} // namespace

QList<QByteArray> sha256DigestsFor(const QString &name, const QByteArray &text)
{
    static const QRegularExpression bare(QStringLiteral("^[0-9A-Fa-f]{64}$"));
    const QStringList lines = linesOf(text);
    const QString only = lines.size() == 1 ? lines.constFirst().trimmed() : QString();
    if (bare.match(only).hasMatch())
        return {QByteArray::fromHex(only.toLatin1())};
    QList<QByteArray> digests;
    for (const QString &line : lines) {
        const std::optional<Entry> entry = entryOf(line);
        if (!entry)
            continue;
        const bool isIt = entry->name.compare(name, Qt::CaseInsensitive) == 0 ||
                          withoutFolder(entry->name).compare(name, Qt::CaseInsensitive) == 0;
        if (isIt)
            digests += entry->digest;
    }
    return digests;
}
