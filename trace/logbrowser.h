// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QtGlobal>

#include <atomic>
#include <memory>

class LogBrowserDialog;
class QMessageLogContext;
class QWidget;

/// Takes log messages from any thread and hands them to the trace dialog on the GUI thread.
///
/// Appending to the dialog is slow, and the event loop handles whatever is posted, also while it does so,
/// before it turns to the user: a flood of messages would keep the window from answering, for ever if it
/// never ends. So a limited number goes to the dialog in each turn of the event loop. What comes beyond it
/// waits here, and so does all that follows until nothing waits any more. Without a flood, no lock is taken.
class LogBrowser : public QObject
{
    Q_OBJECT

public:
    /// `styleSource` lends the dialog its style sheet, once.
    explicit LogBrowser(const QWidget *styleSource, QObject *parent = nullptr);
    ~LogBrowser() override;

    LogBrowser(const LogBrowser &) = delete;
    LogBrowser &operator=(const LogBrowser &) = delete;

    /// Hides the dialog, shown or not: the window that it belongs to has been closed.
    void closeBrowser();

signals:
    void sendMessage(QtMsgType type, QString message);

public slots:
    /// Callable from any thread; a thread's messages keep their order. Sends the message at once, or in a
    /// flood when its turn comes.
    void outputMessage(QtMsgType type, const QString &message);
    /// Shows the dialog when it is hidden, and hides it otherwise.
    void hideBrowser();

private:
    struct Message
    {
        QtMsgType type;
        QString text;
    };

    [[nodiscard]] bool isTooMuch();
    [[nodiscard]] bool hold(QtMsgType type, const QString &message);
    [[nodiscard]] QList<Message> nextPortion();
    QList<Message> everyWaiting();
    void send(const QList<Message> &messages);
    void beginTurn();
    void deliverAll();
    void dropWaiting();

    std::unique_ptr<LogBrowserDialog> browserDialog;

    /// Fires in each turn of the event loop that follows a message, once the user has been seen to.
    QTimer turn;
    /// Messages that were sent in this turn without having waited.
    std::atomic<int> sentThisTurn = 0;
    /// Messages wait here, or were sent from here in this turn: any other would overtake its thread's own.
    /// Changed under the mutex only.
    std::atomic<bool> holding = false;
    QMutex mutex; ///< for `waiting` and `holding`; no signal is emitted under it
    QList<Message> waiting;
};

/// The process's log browser; null until the window has made it.
extern QPointer<LogBrowser> logBrowser;
/// Whether logMessageHandler is installed. GUI thread only.
extern bool logHandlerInstalled;

/// The handler for qInstallMessageHandler(): passes each message to `logBrowser`, or drops it when there is
/// none or the application has gone. Runs on whichever thread logs.
void logMessageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message);
