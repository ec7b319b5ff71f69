// SPDX-License-Identifier: MIT
#pragma once

#include "trace/logbrowser.h"
#include "trace/logbrowserdialog.h"

#include <QApplication>
#include <QTest>
#include <QTextBrowser>

/// The one trace dialog; the browsers before it are gone with theirs.
inline LogBrowserDialog *findDialog()
{
    LogBrowserDialog *found = nullptr;
    for (QWidget *const widget : QApplication::topLevelWidgets()) {
        if (auto *const dialog = qobject_cast<LogBrowserDialog *>(widget)) {
            if (found)
                QTest::qFail("there are two trace dialogs", __FILE__, __LINE__);
            found = dialog;
        }
    }
    return found;
}

inline QString shownText()
{
    return findDialog()->findChild<QTextBrowser *>()->toPlainText();
}

inline QStringList shownLines()
{
    const QString text = shownText();
    return text.isEmpty() ? QStringList() : text.split(u'\n');
}

/// The message handler of this moment; it stays.
inline QtMessageHandler currentHandler()
{
    const QtMessageHandler handler = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(handler);
    return handler;
}

/// Qt's own message handler.
inline QtMessageHandler defaultHandler()
{
    const QtMessageHandler handler = qInstallMessageHandler(nullptr);
    return qInstallMessageHandler(handler);
}

/// Puts back what a test has left installed.
class HandlerGuard
{
public:
    HandlerGuard() : before(currentHandler()) {}
    ~HandlerGuard()
    {
        qInstallMessageHandler(before);
        logHandlerInstalled = false;
    }
    HandlerGuard(const HandlerGuard &) = delete;
    HandlerGuard &operator=(const HandlerGuard &) = delete;

private:
    QtMessageHandler before;
};

/// The trace as it is while it is switched on, with a window that only lends it its style.
class TraceOn
{
public:
    TraceOn()
    {
        delete logBrowser;
        logBrowser = new LogBrowser(&window);
        logBrowser->hideBrowser();
        qInstallMessageHandler(logMessageHandler);
    }
    ~TraceOn() { delete logBrowser; }
    TraceOn(const TraceOn &) = delete;
    TraceOn &operator=(const TraceOn &) = delete;

private:
    HandlerGuard guard;
    QWidget window;
};
