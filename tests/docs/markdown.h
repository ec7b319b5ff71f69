// SPDX-License-Identifier: MIT
#pragma once

#include <QChar>
#include <QList>
#include <QString>
#include <QStringList>

/// What stands for an *italic* placeholder inside a quotation.
inline constexpr QChar Placeholder = QChar::ObjectReplacementCharacter;

/// A Markdown text as far as the guides use it: headings, paragraphs, tables, fenced and indented code.
class Markdown
{
public:
    struct Fence
    {
        QString info; ///< what stands behind the opening fence
        QStringList lines;
    };
    struct Table
    {
        QString heading;         ///< of the section
        QList<QStringList> rows; ///< the first one is the table's head
    };
    explicit Markdown(const QString &text);
    /// A file of the repository. A file that is not there reads as nothing.
    static Markdown read(const QString &path);

    bool isEmpty() const { return units.isEmpty(); }
    QList<Fence> fences() const { return fenced; }
    /// The lines of the fenced block with this info; none when there is no such block.
    QStringList fence(const QString &info) const;
    QList<Table> tables() const;
    /// The first table below this heading that has such a first cell in its head.
    Table table(const QString &heading, const QString &firstCell = {}) const;
    /// The texts in double quotes, without code and emphasis marks; placeholders are marked.
    QStringList quotations() const;
    /// The paragraphs in which a double quote is left open.
    QStringList openQuotations() const;
    QStringList boldTexts() const;
    /// The code spans.
    QStringList codes() const;
    /// Where links and pictures lead.
    QStringList targets() const;
    /// What a link to a heading of this text ends in.
    QStringList anchors() const;

private:
    /// A paragraph, a list item's part or a table's row, in one line.
    struct Unit
    {
        QString text;
        QString heading;
        bool isTableRow = false;
    };

    void addLine(const QString &line);
    void endUnit();
    QStringList mentions(const QString &pattern) const;

    QList<Unit> units;
    QList<Fence> fenced;
    QStringList headings;
    Unit current;
};
