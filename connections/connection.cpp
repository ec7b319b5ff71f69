// SPDX-License-Identifier: MIT
#include "connections/connection.h"

#include "sub20/sub20.h"

#include <algorithm>
#include <array>

namespace {

constexpr const char *InfraRedIcon = ":/pictures/infrared.png";
constexpr const char *CableIcon = ":/pictures/data_cable.png";

/// In the order of the menu.
constexpr std::array Kinds{
    ConnectionKind{ConnectionInfraRed, ConnectionDevice::Sub20, ConnectionLoader::InfraRed, false,
                   "InfraRed SUB-20", InfraRedIcon},
    ConnectionKind{ConnectionModbusSub20, ConnectionDevice::Sub20, ConnectionLoader::Modbus, true,
                   "Modbus SUB-20", CableIcon},
    ConnectionKind{ConnectionComPort, ConnectionDevice::SerialPort, ConnectionLoader::Modbus, true, "%1",
                   CableIcon},
};

Connection connectionOver(const ConnectionKind &kind, const QString &deviceName, quint16 vendorId)
{
    const QString text = QString::fromLatin1(kind.text).replace(QStringLiteral("%1"), deviceName);
    return {kind.type, text, QString::fromLatin1(kind.iconPath), vendorId};
}

} // namespace

const ConnectionKind *connectionKind(int type)
{
    const auto *const kind = std::find_if(Kinds.begin(), Kinds.end(),
                                          [type](const ConnectionKind &row) { return row.type == type; });
    return kind != Kinds.end() ? kind : nullptr;
}

bool isOverSerialPort(int type)
{
    const ConnectionKind *const kind = connectionKind(type);
    return kind && kind->device == ConnectionDevice::SerialPort;
}

bool connectionHasAddress(int type)
{
    const ConnectionKind *const kind = connectionKind(type);
    // An entry with a type of its own, unknown here, is treated like the newer ones.
    return kind ? kind->hasAddress : type > ConnectionInfraRed;
}

QList<Connection> connectionsOver(bool hasAdapter, const QList<SerialPort> &ports)
{
    QList<Connection> connections;
    for (const ConnectionKind &kind : Kinds) {
        if (kind.device == ConnectionDevice::Sub20 && hasAdapter)
            connections += connectionOver(kind, QString(), Sub20::UsbVendorId);
    }
    for (const SerialPort &port : ports) {
        for (const ConnectionKind &kind : Kinds) {
            if (kind.device == ConnectionDevice::SerialPort)
                connections += connectionOver(kind, port.name, port.vendorId);
        }
    }
    return connections;
}

std::optional<qsizetype> storedConnection(const QStringList &texts, const QString &name, NameMatch match)
{
    const qsizetype exact = texts.indexOf(name);
    if (match == NameMatch::ExactFirst && exact >= 0)
        return exact;
    const auto first = std::find_if(texts.begin(), texts.end(),
                                    [&name](const QString &text) { return text.contains(name); });
    return first != texts.end() ? std::optional(first - texts.begin()) : std::nullopt;
}
