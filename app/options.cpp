// SPDX-License-Identifier: MIT
#include "app/options.h"

#include "app/settingskeys.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStringList>

#include <optional>

namespace {

const QString LogFileName = QStringLiteral("zephyrin-update.log");

constexpr int MaxReplyGapMs = 1000;
/// 3.5 characters at 9600 baud, rounded up: the silence that ends a frame (Modbus over Serial Line, 2.5.1.1).
constexpr int MinRequestPauseMs = 4;
constexpr int MaxRequestPauseMs = 50;

template<int Least, int Most> std::optional<int> milliseconds(const QString &text)
{
    bool isNumber = false;
    const int ms = text.toInt(&isNumber);
    return isNumber && ms >= Least && ms <= Most ? std::optional(ms) : std::nullopt;
}

std::optional<bool> onOrOff(const QString &text)
{
    if (text.compare(u"true", Qt::CaseInsensitive) == 0)
        return true;
    return text.compare(u"false", Qt::CaseInsensitive) == 0 ? std::optional(false) : std::nullopt;
}

/// No key at all, or one that is only held down with others.
bool isNoKey(Qt::Key key)
{
    return key == Qt::Key_unknown || (key >= Qt::Key_Shift && key <= Qt::Key_Alt) || key == Qt::Key_AltGr;
}

std::optional<QKeySequence> keySequence(const QString &text)
{
    const QKeySequence keys = QKeySequence::fromString(text, QKeySequence::PortableText);
    for (int i = 0; i < keys.count(); ++i) {
        if (isNoKey(keys[static_cast<uint>(i)].key()))
            return std::nullopt;
    }
    return keys.isEmpty() ? std::nullopt : std::optional(keys);
}

/// The name of the log file; without a folder it lies beside the settings.
std::optional<QString> logFile(const QString &text)
{
    if (const std::optional<bool> isOn = onOrOff(text))
        return *isOn ? LogFileName : QString();
    return QDir::isAbsolutePath(text) ? std::optional(text) : std::nullopt;
}

template<typename Value>
void read(const QSettings &settings, const QString &name, std::optional<Value> (*parse)(const QString &),
          Value &option, Options &options)
{
    const QString key = settingskey::OptionsGroup + name;
    if (!settings.contains(key))
        return;
    // An unquoted comma in the file makes a list.
    const QString text = settings.value(key).toStringList().join(QStringLiteral(", "));
    if (const std::optional<Value> value = parse(text)) {
        option = *value;
        options.set += name + u'=' + text;
    } else {
        options.refused += RefusedOption{key, text};
    }
}

void readLogFile(const QSettings &settings, Options &options)
{
    read(settings, QStringLiteral("log_file"), logFile, options.logFile, options);
    if (!options.logFile.isEmpty())
        options.logFile = QFileInfo(settings.fileName()).dir().absoluteFilePath(options.logFile);
}

} // namespace

Options readOptions(const QSettings &settings)
{
    Options options;
    LinkOptions &link = options.link;
    read(settings, QStringLiteral("reply_gap"), milliseconds<1, MaxReplyGapMs>, link.replyGapMs, options);
    read(settings, QStringLiteral("port_follows_menu"), onOrOff, options.portFollowsMenu, options);
    read(settings, QStringLiteral("tell_silent_failures"), onOrOff, options.tellSilentFailures, options);
    read(settings, QStringLiteral("check_reply"), onOrOff, link.checkReply, options);
    read(settings, QStringLiteral("trace_key"), keySequence, options.traceKey, options);
    read(settings, QStringLiteral("line_echo"), onOrOff, link.lineEcho, options);
    readLogFile(settings, options);
    read(settings, QStringLiteral("trace_frames"), onOrOff, link.traceFrames, options);
    read(settings, QStringLiteral("request_pause"), milliseconds<MinRequestPauseMs, MaxRequestPauseMs>,
         link.requestPauseMs, options);
    read(settings, QStringLiteral("check_image"), onOrOff, options.checkImage, options);
    read(settings, QStringLiteral("alert_when_done"), onOrOff, options.alertWhenDone, options);
    reportRefused(options);
    return options;
}

QString chosenLogFile(const QSettings &settings)
{
    Options options;
    readLogFile(settings, options);
    return options.logFile;
}

void reportRefused(const Options &options)
{
    for (const RefusedOption &option : options.refused)
        qDebug().noquote() << option.key << "is not used, its value is no good:" << option.value;
}
