// SPDX-License-Identifier: MIT
#pragma once

#include "sub20/sub20.h"
#include "tests/support/fakehardware.h"
#include "tests/support/settingsfolder.h"
#include "tests/walk/model.h"
#include "tests/walk/wires.h"

#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QWaitCondition>
#include <QtGlobal>

#include <functional>

class MainWindow;

/// The real program: its window and event loop on the thread that made the stage, in which boxes open inside
/// each other as they do for a user; what it is connected to; and the user's hand. The walk is on a thread of
/// its own, so a box, a held frame or an end that waits does not stop it.
class Stage : public QObject
{
    Q_OBJECT

public:
    explicit Stage(const Site &where);
    ~Stage() override;

    /// Runs the program, again and again, until finish() was called. On the thread of the event loop.
    void run();

    // For the walk's thread.
    /// Has the step happen; it may have done so only in part when this returns.
    void perform(const Step &step, const Model &model);
    /// What is there to be seen once the program's thread gets to it; empty when it never does.
    View look();
    /// The log and the wires begin anew.
    void forget();
    /// Closes the window for the last time.
    void finish();

private:
    /// Runs on the program's thread, inside whichever event loop is the innermost.
    void post(const std::function<void()> &what);
    void performHere(const Step &step);
    void plugIn(int number);
    void pullOut(int number);
    void closeWindow(int framesToLetGo);
    View viewNow() const;
    QStringList settingsNow() const;
    static void note(QtMsgType type, const QMessageLogContext &context, const QString &text);

    const Site &site;
    SettingsFolder folder;
    Wires wires;
    Sub20 adapter;
    FakeHardware devices;
    MainWindow *window = nullptr;

    QMutex mutex;
    QWaitCondition changed;
    int programs = 0;    ///< that have begun
    bool ending = false; ///< the event loop has ended, the window is about to go
    bool isLast = false;

    static inline QMutex logMutex;
    static inline QStringList logged;
};
