// SPDX-License-Identifier: MIT
#include "simulator/paneloptions.h"

#include "simulator/misbehaviouroptions.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

#include <optional>

namespace simulator {

namespace {

constexpr std::uint32_t LargestAddress = 255;
constexpr std::uint32_t LargestIdleMs = 10'000;

QString toQString(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// Without a value name the option is a switch.
QCommandLineOption makeOption(std::string_view name, std::string_view help, std::string_view valueName = {})
{
    return {toQString(name), toQString(help), toQString(valueName)};
}

void addOptions(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral(
        "A simulated panel in its boot loader, on a pseudo-terminal. It first prints its path."));
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("print this text")});
    parser.addOption(makeOption("address", "the panel's Modbus address, 1 to 255 (default 80)", "number"));
    parser.addOption(makeOption("output", "keep the received image in this file, record by record", "file"));
    parser.addOption(makeOption("link", "also reach the pseudo-terminal through this symbolic link", "path"));
    parser.addOption(makeOption("idle-ms", "a gap so long ends an odd request (default 20)", "ms"));
    parser.addOption(makeOption("log", "print every request and reply to the error stream"));
    parser.addOption(makeOption("exit-with-parent", "end when the program that started this one ends"));
    for (const MisbehaviourOption &option : misbehaviourOptions())
        parser.addOption(makeOption(option.name, option.help, option.valueName));
}

ParsedCommandLine wrong(const QString &text)
{
    return {ParsedCommandLine::Kind::Wrong, {}, text};
}

// Reads a number option into `target`; false when it is given and not within the range.
template<typename Target>
bool readNumber(const QCommandLineParser &parser, const QString &name, std::uint32_t lowest,
                std::uint32_t highest, Target &target)
{
    if (!parser.isSet(name))
        return true;
    const std::optional<std::uint32_t> number = parseNumber(parser.value(name).toStdString());
    if (!number || *number < lowest || *number > highest)
        return false;
    target = static_cast<Target>(*number);
    return true;
}

// Returns what is wrong, empty when all were taken.
std::string readMisbehaviour(const QCommandLineParser &parser, Misbehaviour &misbehaviour)
{
    for (const MisbehaviourOption &option : misbehaviourOptions()) {
        const QString name = toQString(option.name);
        if (!parser.isSet(name))
            continue;
        const std::string value = option.valueName.empty() ? std::string() : parser.value(name).toStdString();
        const std::string error = applyMisbehaviour(misbehaviour, option.name, value);
        if (!error.empty())
            return error;
    }
    return contradiction(misbehaviour);
}

} // namespace

ParsedCommandLine parseCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(arguments))
        return wrong(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        return {ParsedCommandLine::Kind::ShowHelp, {}, parser.helpText()};
    const QStringList unexpected = parser.positionalArguments();
    if (!unexpected.isEmpty())
        return wrong(QStringLiteral("unexpected argument \"%1\"").arg(unexpected.constFirst()));

    ParsedCommandLine parsed;
    PanelOptions &options = parsed.options;
    if (!readNumber(parser, QStringLiteral("address"), 1, LargestAddress, options.address))
        return wrong(QStringLiteral("\"address\" needs a number from 1 to %1").arg(LargestAddress));
    if (!readNumber(parser, QStringLiteral("idle-ms"), 1, LargestIdleMs, options.idleMs))
        return wrong(QStringLiteral("\"idle-ms\" needs a number from 1 to %1").arg(LargestIdleMs));
    options.outputFile = parser.value(QStringLiteral("output")).toStdString();
    options.linkPath = parser.value(QStringLiteral("link")).toStdString();
    options.log = parser.isSet(QStringLiteral("log"));
    options.exitWithParent = parser.isSet(QStringLiteral("exit-with-parent"));
    const std::string error = readMisbehaviour(parser, options.misbehaviour);
    return error.empty() ? parsed : wrong(QString::fromStdString(error));
}

} // namespace simulator
