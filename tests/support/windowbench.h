// SPDX-License-Identifier: MIT
#pragma once

#include "app/mainwindow.h"
#include "tests/support/fakehardware.h"
#include "tests/support/settingsfolder.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/windowprobe.h"
#include "trace/logbrowser.h"

#include <QFile>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <utility>

/// A window, with settings, devices and image files of its own. Its serial ports are made up; one that is to
/// be opened has the path of a pseudo-terminal for its name.
class WindowBench
{
public:
    /// Without an adapter.
    WindowBench() : WindowBench(noAdapter()) {}
    explicit WindowBench(const SimulatedAdapter &adapter) : WindowBench(adapter.binding()) {}
    explicit WindowBench(Sub20 &adapter) : devices(adapter), lent(devices.hardware()) {}
    /// With this hardware in place of `devices`.
    explicit WindowBench(Hardware hardware) : lent(std::move(hardware)) {}

    SettingsFolder settings;
    FakeHardware devices;

    ~WindowBench() { end(); }
    WindowBench(const WindowBench &) = delete;
    WindowBench &operator=(const WindowBench &) = delete;

    /// Makes the window, as at the start of the program; one that was there before is closed first.
    MainWindow &start()
    {
        end();
        current = std::make_unique<MainWindow>(lent);
        return *current;
    }
    /// The same, with an image and a connection of this name stored before.
    MainWindow &start(const QString &connection, const QByteArray &image)
    {
        settings.setValue(QStringLiteral("settings/deviceName"), connection);
        settings.setValue(QStringLiteral("settings/filename"), makeImage(image));
        return start();
    }
    void close() { current.reset(); }

    MainWindow &window() const { return *current; }
    WindowProbe probe() const { return WindowProbe(*current); }
    template<typename Widget> Widget *widget(const char *name) const
    {
        return probe().template widget<Widget>(name);
    }

    /// Presses the update button: Start, or Stop.
    void press() const { widget<QPushButton>("updBtn")->click(); }
    QString buttonText() const { return widget<QPushButton>("updBtn")->text(); }
    /// Waits until the session that was started has ended.
    bool waitForEnd(int timeoutMs = 60000) const
    {
        return QTest::qWaitFor([this] { return probe().future().isFinished() && !probe().sessionOpen(); },
                               timeoutMs);
    }

    /// Runs `loader` as if "Start Update" had started it, until its end has been handled.
    void runLoader(UpdateSession::Loader loader) const
    {
        probe().start(std::move(loader));
        QVERIFY(QTest::qWaitFor([this] { return !probe().sessionOpen(); }));
    }

    /// Makes an image file of these bytes and returns its path.
    QString makeImage(const QByteArray &bytes, const QString &name = QStringLiteral("panel.INC")) const
    {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            QTest::qFail("the image file cannot be written", __FILE__, __LINE__);
        return file.fileName();
    }
    /// The folder of the image files.
    QString path() const { return folder.path(); }

private:
    /// The end of the program, with which the log browser goes as well.
    void end()
    {
        close();
        delete logBrowser;
    }

    const Hardware lent;
    QTemporaryDir folder;
    std::unique_ptr<MainWindow> current;
};
