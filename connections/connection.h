// SPDX-License-Identifier: MIT
#pragma once

#include "connections/serialports.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>

/// How the PC reaches the panel; stored in the settings and carried by each menu entry as its property
/// "type".
enum ConnectionType : int {
    ConnectionNone = 0,
    ConnectionInfraRed = 1,
    ConnectionModbusSub20 = 2,
    ConnectionComPort = 3,
};

/// What a connection goes through: there is one for each device of this sort.
enum class ConnectionDevice { Sub20, SerialPort };

/// Who sends the image over a connection.
enum class ConnectionLoader { InfraRed, Modbus };

/// What all connections of one type have in common: a row of the one table of types.
struct ConnectionKind
{
    ConnectionType type;
    ConnectionDevice device;
    ConnectionLoader loader;
    /// Whether the panel's Modbus address matters.
    bool hasAddress;
    /// The menu entry; over a serial port "%1" alone, which stands for the port's name.
    const char *text;
    const char *iconPath;
};

/// A connection that can be chosen now.
struct Connection
{
    int type = ConnectionNone;
    QString text;
    QString iconPath;
    /// The USB vendor id of its device, 0 where it has none.
    quint16 vendorId = 0;
};

/// Which menu entry a stored name means. First: the first one that contains it, so an empty name means the
/// first entry, and COM1 a COM10 that stands before it. ExactFirst: the one of just this name, if there is
/// one.
enum class NameMatch { First, ExactFirst };

/// The row of a type; null for a type that has none.
[[nodiscard]] const ConnectionKind *connectionKind(int type);

/// Whether a connection of this type goes through a serial port. The menu entry's text is the port's name
/// then.
[[nodiscard]] bool isOverSerialPort(int type);

/// Whether the panel's Modbus address matters for a connection of this type.
[[nodiscard]] bool connectionHasAddress(int type);

/// The connections over what is there, in the order of the menu: those over the adapter, of which only the
/// first is ever used, then one for each serial port.
[[nodiscard]] QList<Connection> connectionsOver(bool hasAdapter, const QList<SerialPort> &ports);

/// The place among `texts` of the entry that `name` means; nothing when there is none.
[[nodiscard]] std::optional<qsizetype> storedConnection(const QStringList &texts, const QString &name,
                                                        NameMatch match);
