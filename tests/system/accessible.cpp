// SPDX-License-Identifier: MIT
#include "tests/system/accessible.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include <limits>

namespace {

constexpr int CallTimeoutMs = 20000;
/// AT-SPI's number for "counted from the corner of the screen".
constexpr uint ScreenCoordinates = 0;
constexpr uint BitsPerStateWord = 32;

constexpr const char *AccessibleInterface = "org.a11y.atspi.Accessible";
constexpr const char *ValueInterface = "org.a11y.atspi.Value";

double toNumber(const QVariant &value)
{
    return value.isValid() ? value.toDouble() : std::numeric_limits<double>::quiet_NaN();
}

} // namespace

Accessible Accessible::application(const QDBusConnection &bus, const QString &service)
{
    return {bus, service, QStringLiteral("/org/a11y/atspi/accessible/root")};
}

Accessible::Accessible(const QDBusConnection &connection, const QString &owner, const QString &objectPath)
    : bus(connection), service(owner), path(objectPath)
{
}

QVariant Accessible::call(const char *interface, const char *method, const QVariantList &arguments) const
{
    if (isNull())
        return {};
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, QString::fromLatin1(interface),
                                                          QString::fromLatin1(method));
    message.setArguments(arguments);
    const QDBusMessage reply = bus.call(message, QDBus::Block, CallTimeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

QVariant Accessible::property(const char *interface, const char *name) const
{
    const QVariantList arguments{QString::fromLatin1(interface), QString::fromLatin1(name)};
    return call("org.freedesktop.DBus.Properties", "Get", arguments).value<QDBusVariant>().variant();
}

std::optional<Accessible::Role> Accessible::role() const
{
    const QVariant number = call(AccessibleInterface, "GetRole");
    return number.isValid() ? std::optional(static_cast<Role>(number.toUInt())) : std::nullopt;
}

QString Accessible::name() const
{
    return property(AccessibleInterface, "Name").toString();
}

QString Accessible::description() const
{
    return property(AccessibleInterface, "Description").toString();
}

bool Accessible::is(State state) const
{
    const auto words = qdbus_cast<QList<uint>>(call(AccessibleInterface, "GetState"));
    const auto bit = static_cast<uint>(state);
    return (words.value(bit / BitsPerStateWord) >> (bit % BitsPerStateWord)) % 2 != 0;
}

QString Accessible::text() const
{
    constexpr int ToTheEnd = -1;
    return call("org.a11y.atspi.Text", "GetText", {0, ToTheEnd}).toString();
}

double Accessible::value() const
{
    return toNumber(property(ValueInterface, "CurrentValue"));
}

double Accessible::lowest() const
{
    return toNumber(property(ValueInterface, "MinimumValue"));
}

double Accessible::highest() const
{
    return toNumber(property(ValueInterface, "MaximumValue"));
}

QRect Accessible::extents() const
{
    const QVariant answer = call("org.a11y.atspi.Component", "GetExtents", {ScreenCoordinates});
    return answer.isValid() ? qdbus_cast<QRect>(answer) : QRect();
}

QList<Accessible> Accessible::children() const
{
    QList<Accessible> result;
    const QVariant answer = call(AccessibleInterface, "GetChildren");
    if (!answer.isValid())
        return result;
    const auto list = answer.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString owner;
        QDBusObjectPath child;
        list.beginStructure();
        list >> owner >> child;
        list.endStructure();
        result += Accessible(bus, owner, child.path());
    }
    list.endArray();
    return result;
}

QList<Accessible> Accessible::all(Role role, const QString &name) const
{
    QList<Accessible> result;
    for (const Accessible &child : children()) {
        if (child.role() == role && (name.isEmpty() || child.name() == name))
            result += child;
        result += child.all(role, name);
    }
    return result;
}

Accessible Accessible::first(Role role, const QString &name) const
{
    for (const Accessible &child : children()) {
        if (child.role() == role && (name.isEmpty() || child.name() == name))
            return child;
        if (const Accessible found = child.first(role, name); !found.isNull())
            return found;
    }
    return {};
}
