// SPDX-License-Identifier: MIT
#pragma once

#include "app/mainwindow.h"
#include "tests/support/settingsfolder.h"
#include "tests/support/windowprobe.h"

/// The program's window as it is in use, on the offscreen platform and without a user.
class UploadWindow
{
public:
    UploadWindow();

    void useInfrared();
    void useSerialPort(const QString &device);
    void setImage(const QString &fileName);
    /// Presses the button that starts an upload, and stops it.
    void pressButton();
    /// Handles events until no upload runs.
    void waitUntilIdle();

    MainWindow &mainWindow() { return window; }
    Emitter *emitter() const { return probe.emitter(); }
    /// An upload that ended well leaves the bar full.
    bool isBarFull() const;

private:
    SettingsFolder settings;
    MainWindow window;
    WindowProbe probe{window};
};

/// Makes QApplication need no screen; to be called before there is one.
void useOffscreenPlatform();
