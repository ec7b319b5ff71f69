// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtGlobal>

#include <memory>

class LogBrowserDialog;
class QMessageLogContext;
class QWidget;

/// Takes log messages from any thread and hands them to the trace dialog on the GUI thread.
class LogBrowser : public QObject
{
    Q_OBJECT

public:
    /// `styleSource` lends the dialog its style sheet, once.
    explicit LogBrowser(const QWidget *styleSource, QObject *parent = nullptr);
    ~LogBrowser() override;

    LogBrowser(const LogBrowser &) = delete;
    LogBrowser &operator=(const LogBrowser &) = delete;

signals:
    void sendMessage(QtMsgType type, QString message);

public slots:
    /// Callable from any thread; a thread's messages keep their order.
    void outputMessage(QtMsgType type, const QString &message);
    /// Shows the dialog when it is hidden, and hides it otherwise.
    void hideBrowser();

private:
    std::unique_ptr<LogBrowserDialog> browserDialog;
};

/// The process's log browser; null until the window has made it.
extern QPointer<LogBrowser> logBrowser;
/// Whether logMessageHandler is installed. GUI thread only.
extern bool logHandlerInstalled;

/// The handler for qInstallMessageHandler(): passes each message to `logBrowser`, or drops it when there is
/// none or the application has gone. Runs on whichever thread logs.
void logMessageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message);
