// SPDX-License-Identifier: MIT
#include "tests/support/loginmanager.h"

#include <QTest>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <utility>

namespace {

constexpr int StartTimeoutMs = 30000;
constexpr int EndTimeoutMs = 10000;
constexpr const char *AddressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

const QString ServiceName = QStringLiteral("org.freedesktop.login1");

bool isClosedElsewhere(int end)
{
    pollfd question{end, POLLIN, 0};
    return ::poll(&question, 1, 0) > 0 && (question.revents & POLLHUP) != 0;
}

} // namespace

LoginManager::LoginManager()
    : addressBefore(qgetenv(AddressVariable)), name(QStringLiteral("made up %1").arg(quintptr(this)))
{
    startBus();
    qputenv(AddressVariable, busAddress.toUtf8());
    connection = QDBusConnection::connectToBus(busAddress, name);
    QVERIFY2(connection.isConnected(), qPrintable(connection.lastError().message()));
    QVERIFY(connection.registerObject(QStringLiteral("/org/freedesktop/login1"), this,
                                      QDBusConnection::ExportAllSlots));
    QVERIFY(connection.registerService(ServiceName));
}

LoginManager::~LoginManager()
{
    addressBefore.isNull() ? qunsetenv(AddressVariable) : qputenv(AddressVariable, addressBefore);
    QDBusConnection::disconnectFromBus(name);
    bus.terminate();
    if (!bus.waitForFinished(EndTimeoutMs))
        bus.kill();
}

void LoginManager::leave()
{
    QVERIFY(connection.unregisterService(ServiceName));
}

/// The usual rules of a session's bus let everybody own every name.
void LoginManager::startBus()
{
    const QString address = QStringLiteral("unix:path=") + folder.filePath(QStringLiteral("bus"));
    bus.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    bus.start(QStringLiteral("dbus-daemon"),
              {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address"),
               QStringLiteral("--address=") + address});
    while (!bus.canReadLine() && bus.waitForReadyRead(StartTimeoutMs))
        ; // the line may come in pieces
    busAddress = QString::fromLocal8Bit(bus.readLine()).trimmed();
    QVERIFY2(!busAddress.isEmpty(), bus.readAllStandardError().constData());
}

QDBusUnixFileDescriptor LoginManager::Inhibit(const QString &what, const QString &who, const QString &why,
                                              const QString &mode)
{
    asked += QStringList{what, who, why, mode}.join(QStringLiteral(", "));
    setDelayedReply(true);
    if (waits)
        waiting += message();
    else
        connection.send(answerTo(message()));
    return {};
}

QDBusMessage LoginManager::answerTo(const QDBusMessage &request)
{
    const QString what = request.arguments().value(0).toString();
    for (const QString &part : std::as_const(refused)) {
        if (what.split(u':').contains(part))
            return request.createErrorReply(QDBusError::AccessDenied, QStringLiteral("Not from\n  far away"));
    }
    std::array<int, 2> ends{};
    [&] { QCOMPARE(::pipe2(ends.data(), O_CLOEXEC), 0); }();
    QDBusUnixFileDescriptor ours;
    QDBusUnixFileDescriptor theirs;
    ours.giveFileDescriptor(ends[0]);
    theirs.giveFileDescriptor(ends[1]);
    locks.append({what, ours});
    return request.createReply(QVariant::fromValue(theirs));
}

void LoginManager::answerAll()
{
    const QList<QDBusMessage> requests = std::exchange(waiting, {});
    for (const QDBusMessage &request : requests)
        connection.send(answerTo(request));
}

QStringList LoginManager::granted() const
{
    QStringList parts;
    for (const Lock &lock : locks)
        parts += lock.what;
    return parts;
}

QStringList LoginManager::held() const
{
    QStringList parts;
    for (const Lock &lock : locks) {
        if (!isClosedElsewhere(lock.end.fileDescriptor()))
            parts += lock.what;
    }
    return parts;
}
