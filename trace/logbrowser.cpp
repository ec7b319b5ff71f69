// SPDX-License-Identifier: MIT
#include "trace/logbrowser.h"

#include "trace/logbrowserdialog.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMutexLocker>

#include <atomic>
#include <utility>

namespace {

/// A burst of so many is shown in the next turn of the event loop, which then takes a tenth of a second or
/// two.
constexpr int MostAtOnce = 1000;
/// In a flood, so many are shown in each turn, which takes some hundredths of a second.
constexpr int FloodPortion = 200;

/// Whether there is an application. Any thread may ask, which QCoreApplication::instance() is not made for.
std::atomic<bool> applicationRuns = false;

void applicationEnds()
{
    applicationRuns = false;
}

void followApplication()
{
    applicationRuns = true;
    qRemovePostRoutine(applicationEnds); // once, however many log browsers there have been
    qAddPostRoutine(applicationEnds);
}

} // namespace

QPointer<LogBrowser> logBrowser;
bool logHandlerInstalled = false;

void logMessageHandler(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    // Without an application nothing is shown any more, and what a queued signal needs goes with the process.
    if (!applicationRuns)
        return;
    if (LogBrowser *const browser = logBrowser.data())
        browser->outputMessage(type, message);
}

LogBrowser::LogBrowser(const QWidget *styleSource, QObject *parent) : QObject(parent)
{
    followApplication();
    qRegisterMetaType<QtMsgType>("QtMsgType");
    browserDialog = std::make_unique<LogBrowserDialog>(styleSource, nullptr);
    connect(this, SIGNAL(sendMessage(QtMsgType,QString)), browserDialog.get(),
                         SLOT(outputMessage(QtMsgType,QString)), Qt::QueuedConnection);
    browserDialog->onSaving([this] { deliverAll(); });
    browserDialog->onClearing([this] { dropWaiting(); });
    turn.setSingleShot(true);
    connect(&turn, &QTimer::timeout, this, &LogBrowser::beginTurn);
}

LogBrowser::~LogBrowser() = default;

void LogBrowser::outputMessage(QtMsgType type, const QString &message)
{
    if (isTooMuch() && hold(type, message))
        return;
    emit sendMessage(type, message);
}

bool LogBrowser::isTooMuch()
{
    if (holding)
        return true;
    const int before = sentThisTurn++;
    if (before == 0)
        QMetaObject::invokeMethod(
            this, [this] { turn.start(); }, Qt::QueuedConnection);
    return before >= MostAtOnce;
}

/// False when the next turn has begun meanwhile, and nothing waits any more.
bool LogBrowser::hold(QtMsgType type, const QString &message)
{
    const QMutexLocker lock(&mutex);
    if (!holding && sentThisTurn < MostAtOnce)
        return false;
    holding = true;
    waiting.append({type, message});
    return true;
}

void LogBrowser::beginTurn()
{
    const QList<Message> portion = nextPortion();
    send(portion);
    if (!portion.isEmpty())
        turn.start();
}

/// When nothing waits, messages are sent at once again.
QList<LogBrowser::Message> LogBrowser::nextPortion()
{
    const QMutexLocker lock(&mutex);
    if (waiting.isEmpty()) {
        holding = false;
        sentThisTurn = 0;
        return {};
    }
    QList<Message> portion = waiting.first(qMin(waiting.size(), qsizetype{FloodPortion}));
    waiting.remove(0, portion.size());
    return portion;
}

QList<LogBrowser::Message> LogBrowser::everyWaiting()
{
    const QMutexLocker lock(&mutex);
    return std::exchange(waiting, {});
}

void LogBrowser::send(const QList<Message> &messages)
{
    for (const Message &message : messages)
        emit sendMessage(message.type, message.text);
}

/// All that has been logged so far is in the dialog when this returns.
void LogBrowser::deliverAll()
{
    send(everyWaiting());
    QCoreApplication::sendPostedEvents(browserDialog.get(), QEvent::MetaCall);
}

/// Nothing that has been logged so far reaches the dialog later.
void LogBrowser::dropWaiting()
{
    everyWaiting();
    QCoreApplication::sendPostedEvents(browserDialog.get(), QEvent::MetaCall);
}

void LogBrowser::hideBrowser()
{
    browserDialog->setVisible(browserDialog->isHidden());
}

void LogBrowser::closeBrowser()
{
    browserDialog->hide();
}
