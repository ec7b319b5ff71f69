// SPDX-License-Identifier: MIT
#pragma once

#include "app/hardware.h"

#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <algorithm>
#include <memory>

/// A binding that finds no adapter, whatever the machine has.
inline Sub20 &noAdapter()
{
    static int error = 0;
    static Sub20 binding(Sub20Functions{
        .findDevices = [](sub_device) -> sub_device { return nullptr; },
        .open = [](sub_device) -> sub_handle { return nullptr; },
        .close = [](sub_handle) { return 0; },
        .errorText = [](int) -> char * { return nullptr; },
        .irConfig = [](sub_handle, int, int, int, int) { return 0; },
        .irTx = [](sub_handle, int, char *) { return 0; },
        .rsTiming = [](sub_handle, int, int, int, int) { return 0; },
        .rsXfer = [](sub_handle, char *, int, char *, int) { return 0; },
        .lastError = &error,
    });
    return binding;
}

/// The hardware that a window works with, made up: serial ports that are no more than entries of a list, the
/// test's word for what the system reports, and a binding to an adapter. It outlives the windows that are
/// made with it.
class FakeHardware
{
public:
    explicit FakeHardware(Sub20 &binding = noAdapter()) : adapter(binding) {}
    FakeHardware(const FakeHardware &) = delete;
    FakeHardware &operator=(const FakeHardware &) = delete;

    /// For MainWindow's constructor.
    Hardware hardware()
    {
        return {adapter, [this] { return ports; }, [this](QWidget *window) { return makeMonitor(window); },
                [this](QWidget &) { return std::make_unique<Awake>(awakeCalls); }};
    }

    /// From now on the port is listed, behind those before it; its name, for remove(). Nothing is reported.
    QString addSerialPort(const QString &name, const QString &description, quint16 vendorId)
    {
        ports.append({name, description, vendorId});
        return name;
    }
    /// The port is listed no more. Nothing is reported.
    void remove(const QString &name)
    {
        ports.removeIf([&name](const SerialPort &port) { return port.name == name; });
    }
    /// The system reports this to every window. When this returns, they have reacted.
    void report(const UsbEvent &event) const
    {
        for (const QPointer<UsbMonitor> &monitor : monitors) {
            if (monitor)
                emit monitor->reported(event);
        }
    }
    /// How many windows listen.
    qsizetype listeners() const
    {
        return std::count_if(monitors.begin(), monitors.end(),
                             [](const QPointer<UsbMonitor> &monitor) { return !monitor.isNull(); });
    }
    /// How the window has kept the computer awake: "hold", "release", and "end" for its own.
    QStringList awake() const { return awakeCalls; }

private:
    /// Leaves the computer alone, and writes down what it is asked for.
    class Awake : public StayAwake
    {
    public:
        explicit Awake(QStringList &list) : calls(list) {}
        ~Awake() override { calls += QStringLiteral("end"); }
        void hold() override { calls += QStringLiteral("hold"); }
        void release() override { calls += QStringLiteral("release"); }

    private:
        QStringList &calls;
    };

    /// Reports what the test says.
    class Monitor : public UsbMonitor
    {
    public:
        explicit Monitor(QWidget *window) : UsbMonitor(window) {}
        bool start() override { return true; }
    };

    UsbMonitor *makeMonitor(QWidget *window)
    {
        monitors.append(new Monitor(window));
        return monitors.constLast();
    }

    Sub20 &adapter;
    QList<SerialPort> ports;
    QList<QPointer<UsbMonitor>> monitors;
    QStringList awakeCalls;
};
