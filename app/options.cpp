// SPDX-License-Identifier: MIT
#include "app/options.h"

#include "app/settingskeys.h"

#include <QDebug>
#include <QSettings>
#include <QStringList>

#include <optional>

namespace {

constexpr int MaxReplyGapMs = 1000;

std::optional<int> replyGap(const QString &text)
{
    bool isNumber = false;
    const int ms = text.toInt(&isNumber);
    return isNumber && ms >= 1 && ms <= MaxReplyGapMs ? std::optional(ms) : std::nullopt;
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

template<typename Value>
void read(const QSettings &settings, const QString &name, std::optional<Value> (*parse)(const QString &),
          Value &option, QList<RefusedOption> &refused)
{
    const QString key = settingskey::OptionsGroup + name;
    if (!settings.contains(key))
        return;
    // An unquoted comma in the file makes a list.
    const QString text = settings.value(key).toStringList().join(QStringLiteral(", "));
    if (const std::optional<Value> value = parse(text))
        option = *value;
    else
        refused += RefusedOption{key, text};
}

} // namespace

Options readOptions(const QSettings &settings)
{
    Options options;
    read(settings, QStringLiteral("reply_gap"), replyGap, options.replyGapMs, options.refused);
    read(settings, QStringLiteral("port_follows_menu"), onOrOff, options.portFollowsMenu, options.refused);
    read(settings, QStringLiteral("tell_silent_failures"), onOrOff, options.tellSilentFailures,
         options.refused);
    read(settings, QStringLiteral("check_reply"), onOrOff, options.checkReply, options.refused);
    read(settings, QStringLiteral("trace_key"), keySequence, options.traceKey, options.refused);
    reportRefused(options);
    return options;
}

void reportRefused(const Options &options)
{
    for (const RefusedOption &option : options.refused)
        qDebug().noquote() << option.key << "is not used, its value is no good:" << option.value;
}
