// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The simulated panel on a pseudo-terminal, as a process of its own that lives as long as this object. It
/// may end earlier by itself, where its arguments have it hang up. Failing to start fails the running test.
class PanelProcess
{
public:
    /// `arguments` are those of zephyrin-panel, without "--output" and "--exit-with-parent".
    explicit PanelProcess(const QStringList &arguments = {});
    ~PanelProcess();
    PanelProcess(const PanelProcess &) = delete;
    PanelProcess &operator=(const PanelProcess &) = delete;

    /// The serial port to open, for example "/dev/pts/3".
    QString path() const { return portPath; }
    /// The bytes that the panel holds, also after its end.
    QByteArray image() const;
    /// Waits, while events go on, until the panel holds `count` records from record 0 on.
    bool waitForRecords(int count, int timeoutMs = 10000) const;
    /// Ends the panel, unless it has ended by itself, and gives the counts it printed: "records", "requests",
    /// "bad-crc", "lowest-gap-us" and so on.
    QMap<QString, int> finish();

private:
    QString imageFile() const { return folder.filePath(QStringLiteral("received.bin")); }

    QTemporaryDir folder;
    QProcess process;
    QString portPath;
};
