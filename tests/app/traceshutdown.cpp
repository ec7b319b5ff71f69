// SPDX-License-Identifier: MIT
// The program's end with the trace switched on, and a thread that goes on logging all the while: the window
// goes, then the application, then the objects that live as long as the process. Its result is its exit code.
//
//     traceshutdown [LOG]     with a log file
#include "app/mainwindow.h"
#include "log/logmessages.h"
#include "tests/support/fakehardware.h"
#include "tests/support/settingsfolder.h"
#include "trace/logbrowser.h"

#include <QApplication>
#include <QDebug>
#include <QThread>

#include <atomic>
#include <cstdlib>
#include <memory>

namespace {

/// So many messages go out at least in each stage of the end.
constexpr int MessagesPerStage = 500;
/// Keeps the messages from piling up faster than a window can show them.
constexpr unsigned long PauseUs = 50;

/// A thread that logs until this object goes.
class Logger
{
public:
    Logger() { thread->start(); }
    ~Logger()
    {
        goOn();
        stopped = true;
        thread->wait();
    }
    Logger(const Logger &) = delete;
    Logger &operator=(const Logger &) = delete;

    /// Returns when more messages have gone out.
    void goOn() const
    {
        for (const int enough = logged + MessagesPerStage; logged < enough;)
            QThread::yieldCurrentThread();
    }

private:
    void log()
    {
        while (!stopped) {
            qDebug("message %d", logged.load());
            ++logged;
            QThread::usleep(PauseUs);
        }
    }

    std::atomic<bool> stopped = false;
    std::atomic<int> logged = 0;
    std::unique_ptr<QThread> thread{QThread::create([this] { log(); })};
};

/// The earliest object of the process: it goes when all the others, the trace's own among them, have gone.
[[gnu::init_priority(101)]] std::unique_ptr<Logger> logger;

} // namespace

int main(int argc, char *argv[])
{
    if (argc > 1)
        startLogFile(QString::fromLocal8Bit(argv[1]));
    const SettingsFolder settings;
    FakeHardware noDevices;
    auto application = std::make_unique<QApplication>(argc, argv);
    auto window = std::make_unique<MainWindow>(nullptr, noDevices.hardware());
    window->show();
    window->logHotKeyPressed();
    if (!logHandlerInstalled)
        return EXIT_FAILURE;

    logger = std::make_unique<Logger>();
    logger->goOn();
    QCoreApplication::processEvents();
    window.reset();
    logger->goOn();
    QCoreApplication::processEvents();
    application.reset();
    logger->goOn();
    return EXIT_SUCCESS;
}
