// SPDX-License-Identifier: MIT
#include "app/logbook.h"

#include "app/options.h"
#include "log/logmessages.h"

#include <QCoreApplication>
#include <QStringList>
#include <QSysInfo>

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
