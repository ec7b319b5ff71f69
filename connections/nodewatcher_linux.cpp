// SPDX-License-Identifier: MIT
#include "connections/nodewatcher_linux.h"

#include <QFileInfo>
#include <QStringList>

#include <utility>

namespace {

bool isUsable(const QString &node)
{
    const QFileInfo info(node);
    return info.isReadable() && info.isWritable();
}

QString folderOf(const QString &node)
{
    return QFileInfo(node).path();
}

} // namespace

NodeWatcher::NodeWatcher(QObject *parent) : QObject(parent)
{
    connect(&watcher, &QFileSystemWatcher::fileChanged, this, &NodeWatcher::look);
    connect(&watcher, &QFileSystemWatcher::directoryChanged, this, &NodeWatcher::look);
}

void NodeWatcher::await(const QString &node)
{
    if (isUsable(node))
        return;
    nodes.insert(node);
    // The folder reports that a file is made, the file itself that its permissions change.
    watcher.addPath(folderOf(node));
    look();
}

void NodeWatcher::forget(const QString &node)
{
    nodes.remove(node);
    trimWatches();
}

void NodeWatcher::forgetAll()
{
    nodes.clear();
    trimWatches();
}

void NodeWatcher::look()
{
    const QSet<QString> awaited = nodes;
    for (const QString &node : awaited) {
        // Watched first: what changes after the look is reported.
        if (QFileInfo::exists(node))
            watcher.addPath(node);
        if (isUsable(node)) {
            nodes.remove(node);
            emit usable();
        }
    }
    trimWatches();
}

/// Watches nothing that no awaited file needs.
void NodeWatcher::trimWatches()
{
    QSet<QString> needed = nodes;
    for (const QString &node : std::as_const(nodes))
        needed.insert(folderOf(node));
    QStringList rest = watcher.files() + watcher.directories();
    rest.removeIf([&](const QString &path) { return needed.contains(path); });
    if (!rest.isEmpty())
        watcher.removePaths(rest);
}
