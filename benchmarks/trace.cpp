// SPDX-License-Identifier: MIT
// What a log message costs while the trace is switched on, from the call to the line that the trace dialog
// shows, early and late in a long trace.
#include "benchmarks/figure.h"
#include "benchmarks/uploadwindow.h"

#include <QApplication>
#include <QDebug>
#include <QElapsedTimer>
#include <QTextBrowser>
#include <QTextDocument>

namespace {

constexpr int Rounds = 3;
constexpr int Early = 1000;
constexpr int Late = 100000;
/// As many messages are measured, up to the one in question.
constexpr int Sample = 200;
constexpr double NanosecondsPerUs = 1e3;

QTextBrowser *traceBrowser()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (const QWidget *const window : windows) {
        if (auto *const browser = window->findChild<QTextBrowser *>())
            return browser;
    }
    giveUp(QStringLiteral("there is no trace dialog"));
}

/// Logs up to message number `last`, each one shown before the next.
void logUpTo(int &logged, int last)
{
    while (logged < last) {
        qDebug("%d bytes written...", ++logged);
        QCoreApplication::processEvents();
    }
}

double microsecondsAt(int &logged, int number)
{
    logUpTo(logged, number - Sample);
    QElapsedTimer timer;
    timer.start();
    logUpTo(logged, number);
    return static_cast<double>(timer.nsecsElapsed()) / NanosecondsPerUs / Sample;
}

} // namespace

int main(int argc, char *argv[])
{
    useOffscreenPlatform();
    const QApplication application(argc, argv);
    UploadWindow window;
    window.mainWindow().logHotKeyPressed();
    QTextBrowser *const browser = traceBrowser();
    std::vector<double> early;
    std::vector<double> late;
    for (int round = 0; round < Rounds; ++round) {
        QCoreApplication::processEvents();
        browser->clear();
        int logged = 0;
        early.push_back(microsecondsAt(logged, Early));
        late.push_back(microsecondsAt(logged, Late));
        if (browser->document()->blockCount() != Late)
            giveUp(QStringLiteral("%1 messages are shown").arg(browser->document()->blockCount()));
    }
    window.mainWindow().logHotKeyPressed();
    printRatio(QStringLiteral("trace: message 100,000 beside message 1,000"), median(late), median(early),
               "us", 1, {});
    return EXIT_SUCCESS;
}
