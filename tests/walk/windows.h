// SPDX-License-Identifier: MIT
#pragma once

#include "trace/logbrowserdialog.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QString>

/// Windows of the program beside its main window, as a walk finds them.

/// What the offscreen platform says of itself whenever a window is shown.
inline bool isOfThePlatform(const QString &line)
{
    return line.contains(QStringLiteral("This plugin does not support"));
}

inline LogBrowserDialog *traceDialog()
{
    for (QWidget *const widget : QApplication::topLevelWidgets()) {
        if (auto *const dialog = qobject_cast<LogBrowserDialog *>(widget))
            return dialog;
    }
    return nullptr;
}

inline QMessageBox *topBox()
{
    return qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
}

inline QFileDialog *topFileWindow()
{
    return qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
}
