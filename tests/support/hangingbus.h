// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDir>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <QTest>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

/// A system bus that hangs: its socket listens, and nobody serves it.
class HangingBus
{
public:
    HangingBus()
        : addressBefore(qgetenv(AddressVariable)), socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const QByteArray path = folder.filePath(QStringLiteral("bus")).toLocal8Bit();
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        qstrncpy(name.sun_path, path.constData(), sizeof name.sun_path);
        const bool listens = ::bind(socket, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0 &&
                             ::listen(socket, 1) == 0;
        if (!listens)
            QTest::qFail("nothing listens", __FILE__, __LINE__);
        qputenv(AddressVariable, address().toUtf8());
    }
    ~HangingBus()
    {
        addressBefore.isNull() ? qunsetenv(AddressVariable) : qputenv(AddressVariable, addressBefore);
        for (const int visitor : std::as_const(inside))
            ::close(visitor);
        ::close(socket);
    }
    HangingBus(const HangingBus &) = delete;
    HangingBus &operator=(const HangingBus &) = delete;

    QString address() const { return QStringLiteral("unix:path=") + folder.filePath(QStringLiteral("bus")); }
    /// Whether somebody waits to be let in.
    bool isAsked() const
    {
        pollfd question{socket, POLLIN, 0};
        return ::poll(&question, 1, 0) > 0;
    }
    /// How many have come. They are let in, and get no answer.
    qsizetype visitors()
    {
        while (isAsked())
            inside += ::accept4(socket, nullptr, nullptr, SOCK_CLOEXEC);
        return inside.size();
    }
    /// Whether all who came have gone again.
    bool isLeft() const
    {
        return std::all_of(inside.begin(), inside.end(), [](int visitor) {
            pollfd question{visitor, POLLIN, 0};
            return ::poll(&question, 1, 0) > 0 && (question.revents & POLLHUP) != 0;
        });
    }

private:
    static constexpr const char *AddressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

    /// Its name is part of the address: without a blank.
    QTemporaryDir folder{QDir::tempPath() + QStringLiteral("/bus-XXXXXX")};
    const QByteArray addressBefore;
    const int socket;
    QList<int> inside;
};
