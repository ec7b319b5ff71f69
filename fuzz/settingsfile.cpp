// SPDX-License-Identifier: MIT
// The settings file: any bytes at all, read as the program reads them at its start. Inputs are short; see the
// decisions on what a large file can do to Qt.
#include "app/options.h"
#include "app/settingskeys.h"
#include "connections/connection.h"
#include "fuzz/input.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>

#include <new>

namespace {

/// How many messages name a key of the options; Qt has some of its own to say of a damaged value.
int messages = 0;

void countMessage(QtMsgType, const QMessageLogContext &, const QString &text)
{
    messages += text.startsWith(settingskey::OptionsGroup) ? 1 : 0;
}

void requireSense(const Options &options)
{
    REQUIRE(options.link.replyGapMs >= 0 && options.link.replyGapMs <= 1000);
    REQUIRE(options.link.requestPauseMs >= 4 && options.link.requestPauseMs <= 50);
    REQUIRE(options.logFile.isEmpty() || QDir::isAbsolutePath(options.logFile));
    REQUIRE(messages == options.refused.size());
    QStringList keys;
    for (const RefusedOption &refused : options.refused) {
        REQUIRE(refused.key.startsWith(settingskey::OptionsGroup) && !keys.contains(refused.key));
        keys += refused.key;
    }
}

/// The rest of what the window reads: whatever stands there has some number and some text.
void readSettings(const QSettings &settings)
{
    const int type = settings.value(settingskey::ConnectionType).toInt();
    REQUIRE(connectionKind(type) == nullptr || (type >= 1 && type <= 3));
    static_cast<void>(settings.value(settingskey::Address).toInt());
    static_cast<void>(settings.value(settingskey::Port).toString());
    static_cast<void>(QFileInfo(settings.value(settingskey::FileName).toString()).absolutePath());
    const QString name = settings.value(settingskey::DeviceName).toString();
    const QStringList menu{QStringLiteral("InfraRed SUB-20"), QStringLiteral("COM1"),
                           QStringLiteral("COM10")};
    for (const NameMatch match : {NameMatch::First, NameMatch::ExactFirst}) {
        const std::optional<qsizetype> found = storedConnection(menu, name, match);
        REQUIRE(!found || (*found >= 0 && *found < menu.size() && menu[*found].contains(name)));
    }
}

void readFile(const QString &path)
{
    const QSettings settings(path, QSettings::IniFormat);
    messages = 0;
    requireSense(readOptions(settings));
    readSettings(settings);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QTemporaryDir Folder;
    // Each under a name of its own: QSettings remembers what it has read from a file of the same size and
    // time.
    static quint64 number = 0;
    qInstallMessageHandler(countMessage);
    REQUIRE(Folder.isValid());
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    QFile file(Folder.filePath(QString::number(number++)));
    REQUIRE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    try {
        readFile(file.fileName());
    } catch (const std::bad_alloc &) {
        // Qt makes room for as many elements as a serialised list claims to have.
    }
    REQUIRE(file.size() == bytes.size()); // it was only read
    REQUIRE(file.remove());
    return 0;
}
