// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QtGlobal>

class QPushButton;
class QTextBrowser;

/// The trace window: log messages as lines of text, to clear or to save. GUI thread only.
class LogBrowserDialog : public QDialog
{
    Q_OBJECT

public:
    /// Copies the style sheet of `styleSource`. The dialog starts hidden.
    LogBrowserDialog(const QWidget *styleSource, QWidget *parent);

public slots:
    /// Appends one paragraph; a type that is none of Qt's five appends nothing.
    void outputMessage(QtMsgType type, const QString &message);
    /// Writes the trace to a file that the user chooses.
    void save();
    /// Shows the dialog when it is hidden, and hides it otherwise.
    void keyCtrlDPressed();

private:
    void append(const QString &text);
    void appendPending();
    QPushButton *addButton(const QString &text, QLayout *layout);

    QTextBrowser *browser = nullptr;
    QPushButton *clearButton = nullptr;
    QPushButton *saveButton = nullptr;

    /// Appending is slow, and a flood of messages would keep the event loop from everything else. So each of
    /// its turns appends for a limited time, and what is left over waits here for the next.
    QStringList pending;
    QTimer turn;
    QElapsedTimer turnTime;
};
