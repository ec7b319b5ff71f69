// SPDX-License-Identifier: MIT
#include "tests/system/child.h"

#include <QTest>

#include <sys/prctl.h>

#include <csignal>

namespace {

constexpr int StartTimeoutMs = 30000;
constexpr int ToolTimeoutMs = 30000;
constexpr int EndTimeoutMs = 10000;

} // namespace

void startChild(QProcess &process, const QProcessEnvironment &environment, const QString &program,
                const QStringList &arguments)
{
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    process.start(program, arguments);
    QVERIFY2(process.waitForStarted(StartTimeoutMs), qPrintable(process.errorString()));
}

QByteArray runTool(const QProcessEnvironment &environment, const QString &program,
                   const QStringList &arguments)
{
    QProcess tool;
    tool.setProcessEnvironment(environment);
    tool.start(program, arguments);
    if (!tool.waitForFinished(ToolTimeoutMs) || tool.exitStatus() != QProcess::NormalExit ||
        tool.exitCode() != 0)
        return {};
    return tool.readAllStandardOutput();
}

QString readLine(QProcess &process)
{
    while (!process.canReadLine() && process.waitForReadyRead(StartTimeoutMs))
        ; // the line may come in pieces
    return QString::fromLocal8Bit(process.readLine()).trimmed();
}

void endChild(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (process.waitForFinished(EndTimeoutMs))
        return;
    process.kill();
    process.waitForFinished(EndTimeoutMs);
}
