// SPDX-License-Identifier: MIT
#include "app/loginlocks_linux.h"

#include <QCoreApplication>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDebug>

#include <memory>
#include <utility>

namespace {

/// All that ends an update, in the login manager's words.
const QStringList Everything{QStringLiteral("sleep"), QStringLiteral("idle"),
                             QStringLiteral("handle-lid-switch"), QStringLiteral("shutdown")};
/// A login manager that has to be started first takes its time, too.
constexpr int AnswerTimeoutMs = 10000;

/// As D-Bus gives it under "Well-known Message Bus Instances".
QString systemBusAddress()
{
    return qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS",
                                QStringLiteral("unix:path=/var/run/dbus/system_bus_socket"));
}

QDBusMessage lockRequest(const QStringList &parts)
{
    QDBusMessage request = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    request << parts.join(u':') << QCoreApplication::applicationName()
            << QStringLiteral("A firmware update is running") << QStringLiteral("block");
    return request;
}

} // namespace

LoginLocks::LoginLocks() : name(QStringLiteral("login manager %1").arg(quintptr(this))), bus(name) {}

LoginLocks::~LoginLocks()
{
    QDBusConnection::disconnectFromPeer(name);
}

void LoginLocks::take()
{
    if (connectToBus())
        ask({Everything.join(u':')}, &LoginLocks::askForEach);
    else
        report({0, Everything, bus.lastError().message()});
}

void LoginLocks::giveBack()
{
    ++question;
    held.clear();
}

/// As to a peer: Qt's call for a bus says Hello by itself and waits for the answer, for as long as half a
/// minute, on the thread that serves all of the program's buses, and the program's end would wait for that.
bool LoginLocks::connectToBus()
{
    if (bus.isConnected())
        return true;
    QDBusConnection::disconnectFromPeer(name);
    bus = QDBusConnection::connectToPeer(systemBusAddress(), name);
    if (!bus.isConnected())
        return false;
    // The bus takes messages in their order. If it does not accept this one, it does not the next either.
    const QString service = QStringLiteral("org.freedesktop.DBus");
    bus.asyncCall(QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/DBus"), service,
                                                 QStringLiteral("Hello")),
                  AnswerTimeoutMs);
    return true;
}

void LoginLocks::ask(const QStringList &parts, void (LoginLocks::*refused)(const Round &))
{
    const auto round = std::make_shared<Round>(Round{parts.size(), {}, {}});
    for (const QString &part : parts) {
        auto *const answer =
            new QDBusPendingCallWatcher(bus.asyncCall(lockRequest({part}), AnswerTimeoutMs), this);
        connect(answer, &QDBusPendingCallWatcher::finished, this, [=, this, asked = question] {
            answer->deleteLater();
            if (asked != question)
                return;
            const QDBusPendingReply<QDBusUnixFileDescriptor> lock = *answer;
            if (lock.isValid()) {
                held += lock.value();
            } else {
                round->refused += part;
                round->reason = lock.error().message();
            }
            if (--round->open == 0 && !round->refused.isEmpty())
                (this->*refused)(*round);
        });
    }
}

void LoginLocks::askForEach(const Round &)
{
    ask(Everything, &LoginLocks::report);
}

void LoginLocks::report(const Round &round)
{
    qDebug().noquote() << "The computer may fall asleep during the update:" << round.refused.join(u':')
                       << round.reason.simplified();
}
