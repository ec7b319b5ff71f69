// SPDX-License-Identifier: MIT
// Awake by the power management of Windows, which takes it back by itself if the program dies.
#include "app/stayawake.h"

#include <QDebug>
#include <QGuiApplication>
#include <QObject>
#include <QSessionManager>
#include <QWidget>

#include <windows.h>

namespace {

class WindowsStayAwake : public StayAwake
{
public:
    explicit WindowsStayAwake(QWidget &named) : window(named) {}
    ~WindowsStayAwake() override { WindowsStayAwake::release(); }

    void hold() override
    {
        if (handle)
            return;
        handle = reinterpret_cast<HWND>(window.winId());
        const bool isAwake = SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED) != 0;
        const bool staysUp = ShutdownBlockReasonCreate(handle, L"A firmware update is running") != 0;
        if (!isAwake || !staysUp)
            qDebug().noquote() << "The computer may fall asleep during the update:"
                               << "Windows refuses";
        // The reason is what Windows shows; what blocks is the answer no, when it asks for the session's end.
        refusal = QObject::connect(qGuiApp, &QGuiApplication::commitDataRequest, &window,
                                   [](QSessionManager &session) { session.cancel(); });
    }
    void release() override
    {
        if (!handle)
            return;
        QObject::disconnect(refusal);
        ShutdownBlockReasonDestroy(handle);
        SetThreadExecutionState(ES_CONTINUOUS);
        handle = nullptr;
    }

private:
    QWidget &window;
    /// The window's, while something is held.
    HWND handle = nullptr;
    QMetaObject::Connection refusal;
};

} // namespace

std::unique_ptr<StayAwake> makeStayAwake(QWidget &window)
{
    return std::make_unique<WindowsStayAwake>(window);
}
