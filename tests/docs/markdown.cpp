// SPDX-License-Identifier: MIT
#include "tests/docs/markdown.h"

#include "tests/docs/sources.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

const QString FenceMark = QStringLiteral("```");
const QString Indent = QStringLiteral("    ");

QString replaced(QString text, const QString &pattern, const QString &by)
{
    return text.replace(QRegularExpression(pattern), by);
}

QString withoutCode(const QString &text)
{
    return replaced(text, QStringLiteral("`[^`]*`"), QStringLiteral("`"));
}

/// A mention as the screen shows it: placeholders marked, escaped characters bare.
QString plain(QString text)
{
    text = replaced(text, QStringLiteral(R"((?<!\\)\*\*)"), {});
    text = replaced(text, QStringLiteral(R"((?<!\\)\*[^*]+(?<!\\)\*)"), Placeholder);
    return replaced(text, QStringLiteral(R"(\\([*_|<>\[\]\\]))"), QStringLiteral("\\1")).simplified();
}

QStringList cells(const QString &row)
{
    QStringList texts =
        row.sliced(1).split(QRegularExpression(QStringLiteral(R"((?<!\\)\|)"))); // behind the first bar
    texts.removeLast();
    for (QString &text : texts)
        text = text.trimmed();
    return texts;
}

bool isRule(const QStringList &row)
{
    static const QRegularExpression dashes(QStringLiteral("^:?-+:?$"));
    return std::all_of(row.begin(), row.end(),
                       [](const QString &cell) { return dashes.match(cell).hasMatch(); });
}

} // namespace

Markdown::Markdown(const QString &text)
{
    bool isFenced = false;
    const QStringList lines = text.split(u'\n');
    for (const QString &line : lines) {
        if (line.startsWith(FenceMark)) {
            endUnit();
            isFenced = !isFenced;
            if (isFenced)
                fenced.append({line.sliced(FenceMark.size()).trimmed(), {}});
        } else if (isFenced) {
            fenced.last().lines += line;
        } else {
            addLine(line);
        }
    }
    endUnit();
}

Markdown Markdown::read(const QString &path)
{
    return Markdown(fileText(path));
}

void Markdown::addLine(const QString &line)
{
    static const QRegularExpression newUnit(QStringLiteral(R"(^\s*(\||[-*] |\d+\. ))"));
    if (line.startsWith(u'#')) {
        endUnit();
        current.heading = replaced(line, QStringLiteral("^#+ +"), {});
        headings += current.heading;
        return;
    }
    // Indented code follows a blank line; what goes on a paragraph is text.
    if (line.trimmed().isEmpty() || (line.startsWith(Indent) && current.text.isEmpty())) {
        endUnit();
        return;
    }
    if (newUnit.match(line).hasMatch())
        endUnit();
    current.isTableRow = line.startsWith(u'|');
    current.text += line + u' ';
}

void Markdown::endUnit()
{
    if (!current.text.isEmpty())
        units += current;
    current.text.clear();
}

QStringList Markdown::fence(const QString &info) const
{
    for (const Fence &block : fenced) {
        if (block.info == info)
            return block.lines;
    }
    return {};
}

QList<Markdown::Table> Markdown::tables() const
{
    QList<Table> found;
    bool isInTable = false;
    for (qsizetype i = 0; i < units.size(); ++i) {
        const Unit &unit = units.at(i);
        // The rule below its head begins a table.
        const bool isHead = unit.isTableRow && i + 1 < units.size() && units.at(i + 1).isTableRow &&
                            isRule(cells(units.at(i + 1).text));
        if (isHead)
            found.append({unit.heading, {}});
        isInTable = isHead || (isInTable && unit.isTableRow);
        if (isInTable && !isRule(cells(unit.text)))
            found.last().rows += cells(unit.text);
    }
    return found;
}

Markdown::Table Markdown::table(const QString &heading, const QString &firstCell) const
{
    const QList<Table> all = tables();
    for (const Table &table : all) {
        if (table.heading == heading && table.rows.constFirst().value(0) == firstCell)
            return table;
    }
    return {};
}

QStringList Markdown::mentions(const QString &pattern) const
{
    const QRegularExpression expression(pattern);
    QStringList found;
    for (const Unit &unit : units) {
        for (const QRegularExpressionMatch &match : expression.globalMatch(withoutCode(unit.text)))
            found += plain(match.captured(1));
    }
    return found;
}

QStringList Markdown::quotations() const
{
    return mentions(QStringLiteral("\"([^\"]*)\""));
}

QStringList Markdown::openQuotations() const
{
    QStringList texts;
    for (const Unit &unit : units) {
        if (withoutCode(unit.text).count(u'"') % 2 != 0)
            texts += unit.text;
    }
    return texts;
}

QStringList Markdown::boldTexts() const
{
    return mentions(QStringLiteral(R"(\*\*(.+?)\*\*)"));
}

QStringList Markdown::codes() const
{
    static const QRegularExpression span(QStringLiteral("`([^`]*)`"));
    QStringList found;
    for (const Unit &unit : units) {
        for (const QRegularExpressionMatch &match : span.globalMatch(unit.text))
            found += match.captured(1);
    }
    return found;
}

QStringList Markdown::targets() const
{
    static const QRegularExpression link(QStringLiteral(R"(\]\(<?([^)>\s]+)>?[^)]*\))"));
    QStringList found;
    for (const Unit &unit : units) {
        for (const QRegularExpressionMatch &match : link.globalMatch(withoutCode(unit.text)))
            found += match.captured(1);
    }
    return found;
}

QStringList Markdown::anchors() const
{
    QStringList found;
    for (const QString &heading : headings) {
        QString anchor = replaced(heading.toLower(), QStringLiteral(R"([^\w\- ])"), {}).replace(u' ', u'-');
        const auto again = found.count(anchor); // a heading that comes twice gets a number
        found += again == 0 ? anchor : anchor + QStringLiteral("-%1").arg(again);
    }
    return found;
}
