// SPDX-License-Identifier: MIT
#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QSet>
#include <QString>

/// Waits for device files that the user may not read and write yet. A device is reported before its file has
/// its permissions, and before there is a file at all.
class NodeWatcher : public QObject
{
    Q_OBJECT

public:
    explicit NodeWatcher(QObject *parent);

    /// Waits for this file, unless it is usable already.
    void await(const QString &node);
    /// Waits for it no more: its device has gone.
    void forget(const QString &node);
    void forgetAll();

signals:
    /// A file that was waited for has become usable, and is waited for no more.
    void usable();

private:
    void look();
    void trimWatches();

    QSet<QString> nodes;
    QFileSystemWatcher watcher;
};
