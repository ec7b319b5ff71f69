// SPDX-License-Identifier: MIT
#include "log/portholder.h"

namespace {

QString groupText(const PortAccess &access)
{
    if (access.mayBeUsed)
        return QStringLiteral("this user may use %1").arg(access.path);
    if (access.isInGroup)
        return QStringLiteral("this user may not use %1, although in its group %2")
            .arg(access.path, access.group);
    return QStringLiteral("this user may not use %1: not in its group %2").arg(access.path, access.group);
}

} // namespace

QStringList portAccessTexts(const PortAccess &access)
{
    if (!access.exists)
        return {QStringLiteral("there is no %1").arg(access.path)};
    QStringList texts{groupText(access)};
    for (const FileHolder &holder : access.holders)
        texts += QStringLiteral("process %1, %2, has %3 open")
                     .arg(QString::number(holder.processId), holder.name, access.path);
    if (access.holders.isEmpty())
        texts += QStringLiteral("no process that can be looked into has %1 open").arg(access.path);
    if (access.unseenProcesses > 0)
        texts +=
            QStringLiteral("%1 processes, other users', cannot be looked into").arg(access.unseenProcesses);
    return texts;
}
