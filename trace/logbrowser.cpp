// SPDX-License-Identifier: MIT
#include "trace/logbrowser.h"

#include "trace/logbrowserdialog.h"

#include <QCoreApplication>

QPointer<LogBrowser> logBrowser;
bool logHandlerInstalled = false;

void logMessageHandler(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    // Without an application nothing is shown any more, and what a queued signal needs goes with the process.
    if (!QCoreApplication::instance())
        return;
    if (LogBrowser *const browser = logBrowser.data())
        browser->outputMessage(type, message);
}

LogBrowser::LogBrowser(const QWidget *styleSource, QObject *parent) : QObject(parent)
{
    qRegisterMetaType<QtMsgType>("QtMsgType");
    browserDialog = std::make_unique<LogBrowserDialog>(styleSource, nullptr);
    connect(this, SIGNAL(sendMessage(QtMsgType,QString)), browserDialog.get(),
                         SLOT(outputMessage(QtMsgType,QString)), Qt::QueuedConnection);
}

LogBrowser::~LogBrowser() = default;

void LogBrowser::outputMessage(QtMsgType type, const QString &message)
{
    emit sendMessage(type, message);
}

void LogBrowser::hideBrowser()
{
    browserDialog->setVisible(browserDialog->isHidden());
}
