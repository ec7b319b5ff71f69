// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

/// What keeps a serial port from being opened, as far as the system lets this program see: who has it open,
/// and whether the user may use it at all. A sentence each.
[[nodiscard]] QStringList whyPortIsRefused(const QString &portName);

/// A program that has a file open.
struct FileHolder
{
    qint64 processId = 0;
    QString name;
};

/// What was seen of a port's device file.
struct PortAccess
{
    QString path;
    bool exists = false;
    bool mayBeUsed = false;
    /// Its group's name, or number.
    QString group;
    bool isInGroup = false;
    QList<FileHolder> holders;
    /// How many processes could not be looked into.
    int unseenProcesses = 0;
};

/// The sentences for it.
[[nodiscard]] QStringList portAccessTexts(const PortAccess &access);
