// SPDX-License-Identifier: MIT
#include "tests/docs/sources.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QXmlStreamReader>

namespace {

QString inRepository(const QString &path)
{
    return QStringLiteral(ZEPHYRIN_REPOSITORY "/") + path;
}

/// Comments and preprocessor lines become blanks; a string literal that looks like one stays.
QString bareCode(const QString &source)
{
    static const QRegularExpression token(
        QStringLiteral(R"(("(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])')|//[^\n]*|/\*.*?\*/|^[ \t]*#[^\n]*)"),
        QRegularExpression::DotMatchesEverythingOption | QRegularExpression::MultilineOption);
    return QString(source).replace(token, QStringLiteral("\\1"));
}

QString withoutEscapes(const QString &literal)
{
    static const QRegularExpression escape(QStringLiteral(R"(\\(.))"));
    QString text;
    qsizetype end = 0;
    for (const QRegularExpressionMatch &match : escape.globalMatch(literal)) {
        const QString letter = match.captured(1);
        text += literal.sliced(end, match.capturedStart() - end);
        text += letter == QStringLiteral("n") ? QStringLiteral("\n") : letter;
        end = match.capturedEnd();
    }
    return text + literal.sliced(end);
}

/// What stands between the bracket at `open` and the one that closes it.
QString bracketed(const QString &code, qsizetype open)
{
    const QChar opening = code.at(open);
    const QChar closing = opening == u'(' ? u')' : u'}';
    int depth = 0;
    for (qsizetype i = open; i < code.size(); ++i) {
        if (code.at(i) == opening)
            ++depth;
        else if (code.at(i) == closing && --depth == 0)
            return code.sliced(open + 1, i - open - 1);
    }
    return code.sliced(open + 1);
}

/// The literals in the body of the function of this name; none for one that the sources do not define.
QStringList literalsOfFunction(const QStringList &sources, const QString &name)
{
    const QRegularExpression definition(
        QStringLiteral(R"(\bQString (?:\w+::)?%1\([^()]*\)[ a-z]*\s*\{)").arg(name));
    for (const QString &source : sources) {
        const QRegularExpressionMatch match = definition.match(source);
        if (match.hasMatch())
            return literals(bracketed(source, match.capturedEnd() - 1));
    }
    return {};
}

/// Arguments without a text of their own: declarations, a text that is handed on, and what the serial port
/// says of itself.
bool isHandedOn(const QString &argument)
{
    static const QStringList known{QString(),
                                   QStringLiteral("QString"),
                                   QStringLiteral("QString text"),
                                   QStringLiteral("const QString &errTxt"),
                                   QStringLiteral("errTxt"),
                                   QStringLiteral("text")};
    return known.contains(argument);
}

QStringList textsOfArgument(const QStringList &sources, const QString &argument)
{
    static const QRegularExpression call(QStringLiteral(R"((\w+)\()"));
    QStringList endings;
    for (const QRegularExpressionMatch &match : call.globalMatch(argument))
        endings += literalsOfFunction(sources, match.captured(1));
    const QStringList own = literals(argument);
    if (own.isEmpty() && endings.isEmpty())
        return {QStringLiteral("? ") + argument};
    if (own.isEmpty() || endings.isEmpty())
        return own + endings;
    QStringList texts;
    for (const QString &ending : endings)
        texts += own.constLast() + ending;
    return texts;
}

} // namespace

QString fileText(const QString &path)
{
    QFile file(inRepository(path));
    return file.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromUtf8(file.readAll()) : QString();
}

QStringList programSources()
{
    QStringList sources;
    for (const char *folder : {"app", "connections", "log", "modbus", "sub20", "trace", "update"}) {
        QDirIterator files(inRepository(QLatin1String(folder)),
                           {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files);
        while (files.hasNext())
            sources += bareCode(fileText(QLatin1String(folder) + u'/' + files.nextFileInfo().fileName()));
    }
    return sources;
}

QStringList literals(const QString &code)
{
    static const QRegularExpression literal(QStringLiteral(R"re("((?:\\.|[^"\\])*)"|'(?:\\.|[^'\\])')re"));
    QStringList texts;
    qsizetype end = -1;
    for (const QRegularExpressionMatch &match : literal.globalMatch(code)) {
        if (match.capturedView().startsWith(u'\''))
            continue;
        const QString text = withoutEscapes(match.captured(1));
        if (end >= 0 && QStringView(code).sliced(end, match.capturedStart() - end).trimmed().isEmpty())
            texts.last() += text;
        else
            texts += text;
        end = match.capturedEnd();
    }
    return texts;
}

QStringList formTexts()
{
    QStringList texts;
    QXmlStreamReader form(fileText(QStringLiteral("app/mainwindow.ui")));
    while (!form.atEnd()) {
        if (form.readNext() == QXmlStreamReader::StartElement && form.name() == u"string")
            texts += form.readElementText();
    }
    return texts;
}

QStringList errorTexts(const QStringList &sources)
{
    static const QRegularExpression report(QStringLiteral(
        R"(\b(?:reportError|showErrorBox|errorSignal|errorString|QMessageBox::(?:warning|critical))\s*(\())"));
    QStringList texts;
    for (const QString &source : sources) {
        for (const QRegularExpressionMatch &match : report.globalMatch(source)) {
            const QString argument = bracketed(source, match.capturedStart(1)).simplified();
            if (match.capturedView().startsWith(u"QMessageBox")) // its title stands before the text
                texts += literals(argument).last(1);
            else if (!isHandedOn(argument))
                texts += textsOfArgument(sources, argument);
        }
    }
    texts.removeDuplicates();
    return texts;
}

QStringList logTexts(const QStringList &sources)
{
    static const QRegularExpression statement(
        QStringLiteral(R"(\b(?:q(?:Debug|Info|Warning|Critical|Fatal)|logNote)\(([^;]*);)"));
    QStringList texts;
    for (const QString &source : sources) {
        for (const QRegularExpressionMatch &match : statement.globalMatch(source))
            texts += literals(match.captured(1)).mid(0, 1);
    }
    texts.removeDuplicates();
    return texts;
}

int constantIn(const QString &path, const QString &name)
{
    const QRegularExpression definition(
        QStringLiteral(R"(constexpr [\w: ]+ %1 = (0x[0-9A-Fa-f]+|\d+);)").arg(name));
    const QRegularExpressionMatch match = definition.match(fileText(path));
    return match.hasMatch() ? match.captured(1).toInt(nullptr, 0) : -1;
}
