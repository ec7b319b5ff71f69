// SPDX-License-Identifier: MIT
#pragma once

#include "connections/serialports.h"

#include <QList>
#include <QString>
#include <QStringList>

/// Writes into the log file which ports and adapters there are, and from then on which come and go.
class DeviceLog
{
public:
    /// To be called with what each discovery has found: all ports, whether there is an adapter, and where the
    /// adapter's library comes from.
    void note(const QList<SerialPort> &ports, bool hasAdapter, const QString &librarySource);

private:
    void noteDevices(const QStringList &found);

    bool isFirst = true;
    QString library;
    QStringList devices;
};

/// A line for each port: its name, its description, its USB numbers and whether it is in the menu.
[[nodiscard]] QStringList portTexts(const QList<SerialPort> &ports);
