// SPDX-License-Identifier: MIT
#include "connections/connectionlabel.h"

#include <QLabel>
#include <QPalette>
#include <QString>

bool isDarkTheme(const QPalette &theme)
{
    return theme.color(QPalette::WindowText).lightness() > theme.color(QPalette::Window).lightness();
}

void ConnectionLabel::showConnection(const QString &name)
{
    show(QStringLiteral("color: green; font-size: 10"), QStringLiteral("Connection via ") + name);
}

void ConnectionLabel::showNoConnection(const QString &text)
{
    show(QStringLiteral("color: red; font-size: 10"), text);
}

void ConnectionLabel::show(const QString &styleSheet, const QString &text)
{
    label.setStyleSheet(styleSheet);
    adaptToTheme(); // a new sheet takes the label's palette back
    label.setText(text);
}

void ConnectionLabel::adaptToTheme()
{
    const QPalette theme = label.window()->palette();
    const bool isDark = isDarkTheme(theme);
    if (!isDark && !label.autoFillBackground())
        return;
    QPalette inverse; // the letters of a dark theme are light
    inverse.setColor(QPalette::Window, theme.color(QPalette::WindowText));
    label.setPalette(isDark ? inverse : QPalette());
    label.setAutoFillBackground(isDark);
}
