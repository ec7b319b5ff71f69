// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/loginmanager.h"
#include "tests/system/accessible.h"

#include <QDBusConnection>
#include <QImage>
#include <QPoint>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

/// A desktop of its own, which no other one on the machine sees or touches: a screen without a monitor, a
/// window manager, a session bus, the accessibility bus and a login manager. One per process; it lives as
/// long as this object. Failing to start fails the running test.
class Desktop
{
public:
    Desktop();
    ~Desktop();
    Desktop(const Desktop &) = delete;
    Desktop &operator=(const Desktop &) = delete;

    /// What a program that is to show up here starts with.
    QProcessEnvironment environment() const { return variables; }

    /// The user interface of a process; a null object until it has one.
    Accessible application(qint64 processId) const;

    /// The left mouse button, pressed and released.
    void click(QPoint point) const;
    /// Brings a window to the front and gives it the keyboard, as a click in a task bar does.
    void raise(const QString &title) const;
    /// Whether a window of the process asks for attention, as a task bar shows it.
    bool demandsAttention(qint64 processId, const QString &title) const;
    /// Keys held down together, in xdotool's words: "ctrl+shift+bracketright".
    void press(const QString &keys) const;
    /// Key by key.
    void type(const QString &text) const;

    /// The whole screen as it looks now.
    QImage picture() const;

private:
    void startScreen();
    void startWindowManager();
    void startAccessibility();
    QByteArray tool(const QString &program, const QStringList &arguments) const;

    QTemporaryDir home;
    /// Before the environment, which leads to it.
    LoginManager login;
    QProcessEnvironment variables;
    QProcess screen;
    QProcess windowManager;
    QProcess sessionBus;
    QProcess accessibilityLauncher;
    QDBusConnection accessibilityBus{QString()};
};
