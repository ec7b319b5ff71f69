// SPDX-License-Identifier: MIT
#include "tests/docs/programtexts.h"

#include "tests/docs/markdown.h"

namespace {

/// A placeholder or a value.
const QString Value = QStringLiteral(R"((?<value>%1|[^\s%1]*[\d/\\][^\s%1]*))").arg(Placeholder);
/// A value or a whole text, whose own gaps have values.
const QString Filling = QStringLiteral("(?<filling>(?&value)|%1)");

QString onTheScreen(QString text)
{
    static const QRegularExpression tag(QStringLiteral("<[/a-z][^<>]*>"));
    if (text.contains(tag))
        text = text.replace(tag, QStringLiteral(" ")).simplified();
    while (text.endsWith(u'\n'))
        text.chop(1);
    return text;
}

/// An expression for a text's quotations; empty for a text that has no words of its own.
QString pattern(const QString &text, const QString &gap)
{
    static const QRegularExpression gapMark(QStringLiteral(R"(%0?\d*(?:ll)?[dusX]|%\d{1,2})"));
    static const QRegularExpression word(QStringLiteral("[A-Za-z]{2}"));
    const QString shown = onTheScreen(text);
    QStringList parts = shown.split(gapMark);
    if (!parts.join(QString()).contains(word))
        return {};
    if (parts.constLast().endsWith(u' '))
        parts += QString();
    for (QString &part : parts)
        part = QRegularExpression::escape(part);
    return parts.join(QStringLiteral("(?:%1)").arg(gap));
}

QString anyOf(const QStringList &texts, const QString &gap)
{
    QStringList patterns;
    for (const QString &text : texts) {
        if (const QString one = pattern(text, gap); !one.isEmpty())
            patterns += one;
    }
    return patterns.join(u'|');
}

} // namespace

ProgramTexts::ProgramTexts(const QStringList &texts)
{
    const QString definitions = Value + Filling.arg(anyOf(texts, QStringLiteral("(?&value)")));
    expression.setPattern(QStringLiteral("(?(DEFINE)%1)").arg(definitions) +
                          QRegularExpression::anchoredPattern(anyOf(texts, QStringLiteral("(?&filling)"))));
}

bool ProgramTexts::contains(const QString &quotation) const
{
    return expression.match(quotation).hasMatch();
}

bool ProgramTexts::isQuotationOf(const QString &quotation, const QString &text)
{
    // What is put in may be any words here: which ones is the other direction's question.
    const QString one = pattern(text, QStringLiteral(".+"));
    return !one.isEmpty() &&
           QRegularExpression(QRegularExpression::anchoredPattern(one)).match(quotation).hasMatch();
}
