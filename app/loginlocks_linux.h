// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

/// The locks by which the login manager keeps the computer awake (org.freedesktop.login1.Manager.Inhibit).
/// Works on a thread of its own, on which nothing waits: neither for the bus nor for the login manager.
class LoginLocks : public QObject
{
    Q_OBJECT

public:
    LoginLocks();
    ~LoginLocks() override;

    /// Asks for one lock over everything that ends an update, and where that is refused for each part by
    /// itself. What is not granted, one debug line names. Nothing is held before.
    void take();
    /// Gives back what is held. A lock that is granted later is given back as it comes.
    void giveBack();

private:
    /// What has become of the locks that were asked for together.
    struct Round
    {
        qsizetype open = 0;
        QStringList refused;
        QString reason;
    };

    bool connectToBus();
    void ask(const QStringList &parts, void (LoginLocks::*refused)(const Round &));
    void askForEach(const Round &all);
    void report(const Round &round);

    /// In Qt's list of connections.
    const QString name;
    /// Stays open from the first run on; a bus that does not answer is connected to only once.
    QDBusConnection bus;
    /// Counts what was asked of this object: answers to an earlier question are not wanted any more.
    int question = 0;
    QList<QDBusUnixFileDescriptor> held;
};
