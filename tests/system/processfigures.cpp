// SPDX-License-Identifier: MIT
#include "tests/system/processfigures.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

namespace {

qint64 entriesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

/// The number behind the name that begins a line.
qint64 numberOf(const QByteArray &lines, const QByteArray &name)
{
    const qsizetype begin = lines.indexOf('\n' + name + ':');
    return begin < 0 ? -1 : lines.mid(begin).simplified().split(' ').value(1).toLongLong();
}

} // namespace

ProcessFigures ProcessFigures::of(qint64 processId)
{
    const QString folder = QStringLiteral("/proc/%1/").arg(processId);
    QFile rollup(folder + QStringLiteral("smaps_rollup"));
    const QByteArray memory = rollup.open(QIODevice::ReadOnly) ? rollup.readAll() : QByteArray();
    return {entriesIn(folder + QStringLiteral("fd")), entriesIn(folder + QStringLiteral("task")),
            numberOf(memory, "Pss"), numberOf(memory, "Pss_Anon")};
}
