// SPDX-License-Identifier: MIT
#pragma once

#include "app/mainwindow.h"
#include "update/emitter.h"

#include <utility>

/// Looks into a window, for the tests: the state that its widgets do not show.
class WindowProbe
{
public:
    explicit WindowProbe(MainWindow &probed) : window(probed) {}

    template<typename Widget> Widget *widget(const char *name) const
    {
        return window.findChild<Widget *>(QString::fromLatin1(name));
    }

    /// What no widget sets: a connection that the menu does not offer, an image that nobody has picked.
    void setConnectionType(int type) const { window.connectionType = type; }
    void setDeviceAddress(int address) const { window.deviceAddress = address; }
    void setPortName(const QString &name) const { window.portName = name; }
    void setDeviceName(const QString &name) const { window.deviceName = name; }
    void setImageFileName(const QString &name) const { window.imageFileName = name; }
    /// As an earlier infrared run, of another kind of panel, would leave it.
    void setInfraredVariant(int variant) const { window.irProtocolVariant = variant; }

    Emitter *emitter() const { return window.emitter.get(); }
    QFuture<int> future() const { return window.future; }
    /// A run's end is still to come.
    bool sessionOpen() const { return window.session.state() != UpdateSession::State::Idle; }
    bool stopRequested() const { return window.stopRequested; }
    sub_handle sub20Handle() const { return window.sub20Handle; }
    int connectionType() const { return window.connectionType; }
    int deviceAddress() const { return window.deviceAddress; }
    QString portName() const { return window.portName; }
    QString deviceName() const { return window.deviceName; }
    QString imageFileName() const { return window.imageFileName; }
    QString imageDirectory() const { return window.imageDirectory; }

    void addConnectionAction(const QString &text, int type, quint16 vid,
                             const QString &iconPath = QStringLiteral(":/pictures/data_cable.png")) const
    {
        window.addConnectionAction(text, iconPath, type, vid);
    }
    void selectStoredConnection() const { window.selectStoredConnection(); }
    void updateConnections() const { window.updateConnections(); }
    void refreshUpdateButton() const { window.refreshUpdateButton(); }
    /// Starts `loader` as "Start Update" does the loader of the chosen connection.
    void start(UpdateSession::Loader loader) const { window.session.start(std::move(loader)); }
    void readConnectionType() const { window.readConnectionType(); }

private:
    MainWindow &window;
};
