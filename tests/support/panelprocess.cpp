// SPDX-License-Identifier: MIT
#include "tests/support/panelprocess.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace {

constexpr int StartTimeoutMs = 30000;
constexpr int EndTimeoutMs = 30000;
constexpr int RecordSize = 32;

} // namespace

PanelProcess::PanelProcess(const QStringList &arguments)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral(ZEPHYRIN_PANEL),
                  QStringList{QStringLiteral("--exit-with-parent"), QStringLiteral("--output"), imageFile()} +
                      arguments);
    while (!process.canReadLine() && process.waitForReadyRead(StartTimeoutMs))
        ; // the path may come in pieces
    portPath = QString::fromLocal8Bit(process.readLine()).trimmed();
    QVERIFY2(!portPath.isEmpty(), qPrintable(process.errorString()));
}

PanelProcess::~PanelProcess()
{
    finish();
}

QByteArray PanelProcess::image() const
{
    QFile file(imageFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool PanelProcess::waitForRecords(int count, int timeoutMs) const
{
    return QTest::qWaitFor([&] { return QFileInfo(imageFile()).size() > (count - 1) * RecordSize; },
                           timeoutMs);
}

QMap<QString, int> PanelProcess::finish()
{
    process.terminate();
    if (process.state() != QProcess::NotRunning && !process.waitForFinished(EndTimeoutMs))
        process.kill();
    QMap<QString, int> counts;
    while (process.canReadLine()) {
        const QList<QByteArray> words = process.readLine().trimmed().split(' ');
        counts.insert(QString::fromLatin1(words.value(0)), words.value(1).toInt());
    }
    return counts;
}
