// SPDX-License-Identifier: MIT
#pragma once

#include "connections/usbevent.h"

#include <QObject>

class QWidget;

/// Reports USB devices that arrive and leave, as the operating system reports them to the program. It lives
/// on the GUI thread and sleeps until something happens.
class UsbMonitor : public QObject
{
    Q_OBJECT

public:
    /// Begins to listen. False when there is nobody to listen to, which stands in the debug log then: nothing
    /// will be reported.
    virtual bool start() = 0;

    /// Takes a message that the operating system sent to the window; most need none.
    virtual void handleNativeEvent(void *message) { Q_UNUSED(message); }

signals:
    void reported(const UsbEvent &event);

protected:
    using QObject::QObject;
};

/// The one for this operating system, a child of `window`. On Windows the window is needed, and its messages
/// have to be handed on.
[[nodiscard]] UsbMonitor *makeUsbMonitor(QWidget *window);
