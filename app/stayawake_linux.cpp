// SPDX-License-Identifier: MIT
// Awake by locks of the login manager, each a file descriptor: the lock holds as long as that is open, so it
// never outlives the program.
#include "app/loginlocks_linux.h"
#include "app/stayawake.h"

#include <QMetaObject>
#include <QThread>

namespace {

/// The thread only ever waits for its next event. Should it hang all the same, in the system's own call to
/// connect, then the program's end does not wait for it.
constexpr int EndTimeoutMs = 1000;

class LinuxStayAwake : public StayAwake
{
public:
    ~LinuxStayAwake() override;

    void hold() override;
    void release() override;

private:
    void startThread();

    bool isHeld = false;
    /// Where the bus is talked to, from the first run on.
    std::unique_ptr<QThread> thread;
    /// Lives on the thread, and ends with it.
    LoginLocks *locks = nullptr;
};

LinuxStayAwake::~LinuxStayAwake()
{
    if (!thread)
        return;
    thread->quit();
    if (!thread->wait(EndTimeoutMs))
        static_cast<void>(thread.release());
}

void LinuxStayAwake::hold()
{
    if (isHeld)
        return;
    isHeld = true;
    if (!thread)
        startThread();
    QMetaObject::invokeMethod(locks, &LoginLocks::take, Qt::QueuedConnection);
}

void LinuxStayAwake::release()
{
    if (!isHeld)
        return;
    isHeld = false;
    QMetaObject::invokeMethod(locks, &LoginLocks::giveBack, Qt::QueuedConnection);
}

void LinuxStayAwake::startThread()
{
    thread = std::make_unique<QThread>();
    locks = new LoginLocks;
    locks->moveToThread(thread.get());
    QObject::connect(thread.get(), &QThread::finished, locks, &QObject::deleteLater);
    thread->start();
}

} // namespace

std::unique_ptr<StayAwake> makeStayAwake(QWidget &)
{
    return std::make_unique<LinuxStayAwake>();
}
