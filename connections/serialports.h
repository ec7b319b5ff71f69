// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

/// A serial port, as the system describes it.
struct SerialPort
{
    QString name;
    QString description;
    /// The USB vendor id of its device, 0 where it has none.
    quint16 vendorId = 0;
    /// The USB product id of its device, 0 where it has none.
    quint16 productId = 0;

    bool operator==(const SerialPort &) const = default;
};

/// All serial ports of the machine, in the system's order.
[[nodiscard]] QList<SerialPort> systemSerialPorts();

/// Those of `ports` that can be chosen, in their order: not one without a description, and not a Bluetooth
/// port. The port behind one that is left out is not looked at and stays: that is how the list is meant to
/// be.
[[nodiscard]] QList<SerialPort> availableSerialPorts(const QList<SerialPort> &ports);

/// For each of `ports`, what leaves it out of them, in a few words; empty for one that can be chosen.
[[nodiscard]] QStringList exclusions(const QList<SerialPort> &ports);
