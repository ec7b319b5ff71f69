// SPDX-License-Identifier: MIT
#include "app/logbook.h"

#include "app/options.h"
#include "app/settingskeys.h"
#include "log/logmessages.h"

#include <QCoreApplication>
#include <QSettings>
#include <QStringList>
#include <QSysInfo>

namespace {

/// What the file dialog shows as an image.
const QString ImageSuffix = QStringLiteral(".INC");

} // namespace

void startLog(const QSettings &settings)
{
    const QString path = chosenLogFile(settings);
    if (path.isEmpty())
        return;
    QList<NoLogFile> others{{settings.fileName(), QStringLiteral("it is the settings file")}};
    const QString image = settings.value(settingskey::FileName).toString();
    if (!image.isEmpty())
        others += NoLogFile{image, QStringLiteral("it is the image")};
    if (path.endsWith(ImageSuffix, Qt::CaseInsensitive))
        others += NoLogFile{path, QStringLiteral("it has the name of an image")};
    startLogFile(path, others);
}

void noteStart(const Options &options)
{
    if (!hasLogFile())
        return;
    logNote(QStringLiteral("%1 %2, Qt %3, process %4")
                .arg(QCoreApplication::applicationName(), QCoreApplication::applicationVersion(),
                     QString::fromLatin1(qVersion()), QString::number(QCoreApplication::applicationPid())));
    logNote(QStringLiteral("system: %1, %2 %3, %4")
                .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(), QSysInfo::kernelVersion(),
                     QSysInfo::currentCpuArchitecture()));
    logNote(QStringLiteral("options: ") + options.set.join(QStringLiteral(", ")));
    for (const RefusedOption &option : options.refused)
        logNote(QStringLiteral("option refused: ") + option.key + u'=' + option.value);
}
