// SPDX-License-Identifier: MIT
#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringList>

/// The texts that a program can show, to be compared with what a guide quotes. A quotation is such a text
/// whole. Where the text has %1 or a printf conversion, or where it ends in a blank (the program puts
/// something behind it), the quotation has one of these:
///
///   - a placeholder;
///   - a value: one word with a digit or a slash in it, such as COM4, 01:05 or C:\images\panel.INC;
///   - another whole text of the program.
class ProgramTexts
{
public:
    /// `texts` as they stand in the sources. Markup and line ends are taken as the screen shows them.
    explicit ProgramTexts(const QStringList &texts);

    bool contains(const QString &quotation) const;
    /// Whether `quotation` is this one text.
    static bool isQuotationOf(const QString &quotation, const QString &text);

private:
    QRegularExpression expression;
};
