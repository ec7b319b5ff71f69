// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "connections/usbmonitor.h"
#include "tests/support/messagelog.h"
#include "tests/support/settingsfolder.h"
#include "tests/support/testcase.h"

#include <QByteArray>
#include <QMenu>
#include <QSignalSpy>
#include <QWidget>

#include <qt_windows.h>

#include <dbt.h>

#include <cstddef>

namespace {

constexpr uint Interface = DBT_DEVTYP_DEVICEINTERFACE;
const QString AdapterPath = QStringLiteral(R"(\\?\USB#VID_04D8&PID_FFC3#5&2A#{a5dcbf10})");
const QString ConverterPath = QStringLiteral(R"(\\?\USB#VID_1A86&PID_7523#5&2B#{a5dcbf10})");

/// The record that Windows sends of a USB device, with the device's path at its end.
QByteArray recordOf(uint deviceType, const QString &path)
{
    constexpr qsizetype PathOffset = offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name);
    const QByteArray name(reinterpret_cast<const char *>(path.utf16()), (path.size() + 1) * sizeof(wchar_t));
    DEV_BROADCAST_DEVICEINTERFACE_W head{};
    head.dbcc_size = static_cast<DWORD>(PathOffset + name.size());
    head.dbcc_devicetype = deviceType;
    return QByteArray(reinterpret_cast<const char *>(&head), PathOffset) + name;
}

/// A monitor of a window, and what it has reported.
class Listener
{
public:
    void send(uint message, WPARAM event, LPARAM data) const
    {
        MSG sent{};
        sent.message = message;
        sent.wParam = event;
        sent.lParam = data;
        monitor->handleNativeEvent(&sent);
    }
    void send(uint message, WPARAM event, const QByteArray &record) const
    {
        send(message, event, reinterpret_cast<LPARAM>(record.constData()));
    }
    /// Words such as "+04d8" for an arrival and "-0403" for a removal.
    QStringList notices() const
    {
        QStringList words;
        for (const QList<QVariant> &arguments : spy) {
            const auto event = arguments[0].value<UsbEvent>();
            words += QStringLiteral("%1%2")
                         .arg(QLatin1Char(event.kind == UsbEvent::Kind::Arrival ? '+' : '-'))
                         .arg(event.vendorId, 4, 16, QLatin1Char('0'));
        }
        return words;
    }

private:
    QWidget window;
    UsbMonitor *monitor = makeUsbMonitor(&window);
    QSignalSpy spy{monitor, &UsbMonitor::reported};
};

} // namespace

/// What Windows' messages to a window report about USB devices, and that the program's window hands them on.
class WindowsUsbMonitorTest : public TestCase
{
    Q_OBJECT

public:
    /// Windows sends its notices to a real window.
    static void initMain() { qputenv("QT_QPA_PLATFORM", "windows"); }

private slots:
    void theWindowIsRegistered();
    void devicesThatComeAndGo();
    void thePartsOfThePathAreLogged();
    void otherRecordsAreIgnored_data();
    void otherRecordsAreIgnored();
    void aNumberIsNoAddress_data();
    void aNumberIsNoAddress();
    void thereMayBeNoRecord();
    void discoveryRunsInTheProgramsWindow();
};

void WindowsUsbMonitorTest::theWindowIsRegistered()
{
    const MessageLog log;
    QWidget window;
    QVERIFY(makeUsbMonitor(&window)->start());
    QCOMPARE(log.count(QStringLiteral("Error: Failed to register device notification!")), 0);
}

void WindowsUsbMonitorTest::devicesThatComeAndGo()
{
    const Listener listener;
    listener.send(WM_DEVICECHANGE, DBT_DEVICEARRIVAL, recordOf(Interface, AdapterPath));
    listener.send(WM_DEVICECHANGE, DBT_DEVICEREMOVECOMPLETE, recordOf(Interface, ConverterPath));
    listener.send(WM_DEVICECHANGE, DBT_DEVICEARRIVAL, recordOf(Interface, QStringLiteral("no parts")));
    QCOMPARE(listener.notices(),
             QStringList({QStringLiteral("+04d8"), QStringLiteral("-1a86"), QStringLiteral("+0000")}));
}

void WindowsUsbMonitorTest::thePartsOfThePathAreLogged()
{
    const MessageLog log;
    const Listener listener;
    listener.send(WM_DEVICECHANGE, DBT_DEVICEARRIVAL, recordOf(Interface, AdapterPath));
    for (const char *const part : {"USB", "VID_04D8&PID_FFC3", "5&2A", "{a5dcbf10}"})
        QCOMPARE(log.count(QString::fromLatin1(part)), 1);
}

void WindowsUsbMonitorTest::otherRecordsAreIgnored_data()
{
    QTest::addColumn<uint>("message");
    QTest::addColumn<uint>("event");
    QTest::addColumn<uint>("deviceType");
    const auto row = [](const char *name, uint message, uint event, uint deviceType) {
        QTest::newRow(name) << message << event << deviceType;
    };
    row("removal is only asked for", WM_DEVICECHANGE, DBT_DEVICEQUERYREMOVE, Interface);
    row("volume arrives", WM_DEVICECHANGE, DBT_DEVICEARRIVAL, DBT_DEVTYP_VOLUME);
    row("port is removed", WM_DEVICECHANGE, DBT_DEVICEREMOVECOMPLETE, DBT_DEVTYP_PORT);
    row("other message", WM_APP, DBT_DEVICEARRIVAL, Interface);
}

void WindowsUsbMonitorTest::otherRecordsAreIgnored()
{
    QFETCH(const uint, message);
    QFETCH(const uint, event);
    QFETCH(const uint, deviceType);
    const Listener listener;
    listener.send(message, event, recordOf(deviceType, AdapterPath));
    QVERIFY(listener.notices().isEmpty());
}

void WindowsUsbMonitorTest::aNumberIsNoAddress_data()
{
    QTest::addColumn<qulonglong>("event");
    QTest::addColumn<qlonglong>("number");
    const auto row = [](const char *name, qulonglong event, qlonglong number) {
        QTest::newRow(name) << event << number;
    };
    row("a drive is locked", 0x8041, 'C');
    row("another resolution of the screen", 0x001B, 0x0438'0780);
    row("device nodes changed", DBT_DEVNODES_CHANGED, 1);
    row("device nodes changed, with the bit of a record", 0x8007, 1);
    row("a code above 16 bits", 0x1'8000, 1);
    row("a code above 32 bits", 0x1'0000'8004, 1);
    row("no code", 0, -1);
}

/// Whatever reads memory at these numbers, ends the program.
void WindowsUsbMonitorTest::aNumberIsNoAddress()
{
    QFETCH(const qulonglong, event);
    QFETCH(const qlonglong, number);
    const Listener listener;
    listener.send(WM_DEVICECHANGE, static_cast<WPARAM>(event), static_cast<LPARAM>(number));
    QVERIFY(listener.notices().isEmpty());
}

void WindowsUsbMonitorTest::thereMayBeNoRecord()
{
    const Listener listener;
    for (const WPARAM event : {DBT_DEVICEARRIVAL, DBT_DEVICEREMOVECOMPLETE, DBT_DEVNODES_CHANGED})
        listener.send(WM_DEVICECHANGE, event, LPARAM{0});
    QVERIFY(listener.notices().isEmpty());
}

void WindowsUsbMonitorTest::discoveryRunsInTheProgramsWindow()
{
    const SettingsFolder settings;
    MainWindow window;
    auto *const menu = window.findChild<QMenu *>(QStringLiteral("menuActions"));
    const QString entry = QStringLiteral("until discovery runs");
    menu->addAction(entry)->setProperty("vid", 0x1A86);
    const auto isThere = [&] {
        return !menu->actions().isEmpty() && menu->actions().constLast()->text() == entry;
    };
    const auto send = [&](WPARAM event, const QString &path) {
        const QByteArray record = recordOf(Interface, path);
        SendMessageW(reinterpret_cast<HWND>(window.winId()), WM_DEVICECHANGE, event,
                     reinterpret_cast<LPARAM>(record.constData()));
    };
    const QString mouse = QStringLiteral(R"(\\?\USB#VID_046D&PID_C077#5&2C#{a5dcbf10})");
    send(DBT_DEVICEARRIVAL, mouse);
    send(DBT_DEVICEREMOVECOMPLETE, mouse);
    QVERIFY(isThere());
    send(DBT_DEVICEREMOVECOMPLETE, ConverterPath);
    QVERIFY(!isThere());
}

QTEST_MAIN(WindowsUsbMonitorTest)
#include "tst_usbmonitor_windows.moc"
