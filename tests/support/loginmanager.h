// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDir>
#include <QList>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A made-up login manager on a bus of its own, which is the system's bus for whoever asks for that while
/// this object lives: this process, and those it starts. It answers while the test's event loop runs.
class LoginManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    LoginManager();
    ~LoginManager() override;

    QString address() const { return busAddress; }
    /// From now on nobody has the login manager's name.
    void leave();
    /// Any request that names one of these is refused from now on.
    void refuse(const QStringList &parts) { refused = parts; }
    /// From now on, requests are answered by answerAll() only.
    void keepWaiting() { waits = true; }
    void answerAll();

    /// All requests so far, as "what, who, why, mode".
    QStringList requests() const { return asked; }
    /// What the locks that were granted are over, in their order, and of those the ones that are not given
    /// back.
    QStringList granted() const;
    QStringList held() const;

public slots:
    // NOLINTNEXTLINE(readability-identifier-naming): the bus's name
    QDBusUnixFileDescriptor Inhibit(const QString &what, const QString &who, const QString &why,
                                    const QString &mode);

private:
    /// The end of a pipe that stays here. When the other end is closed, everywhere, the lock is given back.
    struct Lock
    {
        QString what;
        QDBusUnixFileDescriptor end;
    };

    void startBus();
    QDBusMessage answerTo(const QDBusMessage &request);

    /// Its name is part of the address: without a blank.
    QTemporaryDir folder{QDir::tempPath() + QStringLiteral("/bus-XXXXXX")};
    QProcess bus;
    QString busAddress;
    QByteArray addressBefore;
    /// In Qt's list of connections.
    const QString name;
    QDBusConnection connection{QString()};
    QStringList refused;
    bool waits = false;
    QList<QDBusMessage> waiting;
    QStringList asked;
    QList<Lock> locks;
};
