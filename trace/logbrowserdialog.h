// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QString>
#include <QtGlobal>

#include <functional>
#include <utility>

class QPushButton;
class QTextBrowser;

/// The trace window: log messages as lines of text, to clear or to save. GUI thread only.
class LogBrowserDialog : public QDialog
{
    Q_OBJECT

public:
    /// Copies the style sheet of `styleSource`. The dialog starts hidden.
    LogBrowserDialog(const QWidget *styleSource, QWidget *parent);

    /// Is called before the trace is written, to bring in what is still on its way.
    void onSaving(std::function<void()> prepare) { beforeSaving = std::move(prepare); }
    /// Is called before the trace is emptied, to take away what is still on its way.
    void onClearing(std::function<void()> takeAway) { beforeClearing = std::move(takeAway); }

public slots:
    /// Appends one paragraph; a type that is none of Qt's five appends nothing.
    void outputMessage(QtMsgType type, const QString &message);
    /// Writes the trace to a file that the user chooses.
    void save();
    /// Shows the dialog when it is hidden, and hides it otherwise.
    void keyCtrlDPressed();

private:
    QPushButton *addButton(const QString &text, QLayout *layout);

    QTextBrowser *browser = nullptr;
    QPushButton *clearButton = nullptr;
    QPushButton *saveButton = nullptr;

    std::function<void()> beforeSaving = [] {};
    std::function<void()> beforeClearing = [] {};
};
