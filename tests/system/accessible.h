// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QList>
#include <QRect>
#include <QString>
#include <QVariant>

#include <optional>

/// One object of a program's user interface, as a screen reader sees it (AT-SPI 2). Everything is asked for
/// anew at each call; an object that is gone has empty texts, no states and no children.
class Accessible
{
public:
    /// The roles that the program's windows have, with the numbers of AtspiRole.
    enum class Role {
        Alert = 2,
        Dialog = 16,
        Frame = 23,
        Label = 29,
        MenuItem = 35,
        ProgressBar = 42,
        PushButton = 43,
        SpinBox = 52,
        Text = 61,
        Application = 75,
    };
    /// Numbers of AtspiStateType.
    enum class State { Active = 1, Checked = 4, Enabled = 8, Focused = 12, Showing = 25 };

    /// The object that stands for a whole program.
    static Accessible application(const QDBusConnection &bus, const QString &service);

    Accessible() = default;
    bool isNull() const { return path.isEmpty(); }

    std::optional<Role> role() const;
    QString name() const;
    QString description() const;
    bool is(State state) const;
    /// What an input field or a text area holds.
    QString text() const;
    /// The number of a spin box or a progress bar; NaN when there is none.
    double value() const;
    double lowest() const;
    double highest() const;
    /// On the screen, in pixels.
    QRect extents() const;

    QList<Accessible> children() const;
    /// This object's children and theirs, in the order of the screen, that have the role and, when one is
    /// given, the name.
    QList<Accessible> all(Role role, const QString &name = {}) const;
    /// The first one of all(); a null object when there is none.
    Accessible first(Role role, const QString &name = {}) const;

private:
    Accessible(const QDBusConnection &connection, const QString &owner, const QString &objectPath);

    QVariant call(const char *interface, const char *method, const QVariantList &arguments = {}) const;
    QVariant property(const char *interface, const char *name) const;

    QDBusConnection bus{QString()};
    QString service;
    QString path;
};
