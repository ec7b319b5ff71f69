// SPDX-License-Identifier: MIT
#pragma once

#include <QProgressBar>
#include <QString>

/// Of the bar itself, a screen reader gets the number alone.
inline void showBarText(QProgressBar &bar, const QString &text)
{
    if (bar.format() == text)
        return;
    bar.setFormat(text);
    bar.setAccessibleDescription(text);
}
