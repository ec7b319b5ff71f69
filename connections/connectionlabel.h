// SPDX-License-Identifier: MIT
#pragma once

class QLabel;
class QPalette;
class QString;

/// Whether a theme has light letters on a dark ground.
[[nodiscard]] bool isDarkTheme(const QPalette &theme);

/// The text in the window's corner that names the connection: green for one, red for none. Both colours are
/// fixed and meant for a light ground; on a dark theme the text gets one of its own.
class ConnectionLabel
{
public:
    /// `shown` outlives this object.
    explicit ConnectionLabel(QLabel &shown) : label(shown) {}

    void showConnection(const QString &name);
    /// `text` says that there is none.
    void showNoConnection(const QString &text);
    /// To be called when the theme has changed. On a light theme nothing is touched.
    void adaptToTheme();

private:
    void show(const QString &styleSheet, const QString &text);

    QLabel &label;
};
