// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "connections/connectiontype.h"
#include "tests/support/messagelog.h"
#include "tests/support/settingsfolder.h"
#include "tests/support/testcase.h"
#include "tests/support/windowprobe.h"

#include <QAction>
#include <QByteArray>
#include <QMenu>

#include <qt_windows.h>

#include <dbt.h>

#include <algorithm>
#include <cstddef>

namespace {

constexpr quint16 EntryVendorId = 0x1A86;

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

} // namespace

/// The notices of Windows, sent to a real window.
class WindowsNoticesTest : public TestCase
{
    Q_OBJECT

private slots:
    void theWindowIsRegistered();
    void discoveryRunsForKnownVendors_data();
    void discoveryRunsForKnownVendors();
};

void WindowsNoticesTest::theWindowIsRegistered()
{
    const SettingsFolder settings;
    const MessageLog log;
    const MainWindow window;
    QCOMPARE(log.count(QStringLiteral("Error: Failed to register device notification!")), 0);
}

void WindowsNoticesTest::discoveryRunsForKnownVendors_data()
{
    QTest::addColumn<uint>("message");
    QTest::addColumn<uint>("event");
    QTest::addColumn<uint>("deviceType");
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("runs");
    const QString adapter = QStringLiteral(R"(\\?\USB#VID_04D8&PID_FFC3#5&2A#{a5dcbf10})");
    const QString entry = QStringLiteral(R"(\\?\USB#VID_1A86&PID_7523#5&2B#{a5dcbf10})");
    const QString mouse = QStringLiteral(R"(\\?\USB#VID_046D&PID_C077#5&2C#{a5dcbf10})");
    constexpr uint Interface = DBT_DEVTYP_DEVICEINTERFACE;
    constexpr uint Change = WM_DEVICECHANGE;
    QTest::newRow("adapter arrives") << Change << uint{DBT_DEVICEARRIVAL} << Interface << adapter << true;
    QTest::newRow("mouse arrives") << Change << uint{DBT_DEVICEARRIVAL} << Interface << mouse << false;
    QTest::newRow("entry leaves") << Change << uint{DBT_DEVICEREMOVECOMPLETE} << Interface << entry << true;
    QTest::newRow("mouse leaves") << Change << uint{DBT_DEVICEREMOVECOMPLETE} << Interface << mouse << false;
    QTest::newRow("removal is only asked for")
        << Change << uint{DBT_DEVICEQUERYREMOVE} << Interface << entry << false;
    QTest::newRow("volume arrives") << Change << uint{DBT_DEVICEARRIVAL} << uint{DBT_DEVTYP_VOLUME} << adapter
                                    << false;
    QTest::newRow("device nodes change, without a record")
        << Change << uint{DBT_DEVNODES_CHANGED} << Interface << QString() << false;
    QTest::newRow("other message") << uint{WM_APP} << uint{DBT_DEVICEARRIVAL} << Interface << adapter
                                   << false;
}

void WindowsNoticesTest::discoveryRunsForKnownVendors()
{
    QFETCH(const uint, message);
    QFETCH(const uint, event);
    QFETCH(const uint, deviceType);
    QFETCH(const QString, path);
    QFETCH(const bool, runs);
    const SettingsFolder settings;
    MainWindow window;
    const WindowProbe probe(window);
    const QString entry = QStringLiteral("until discovery runs");
    probe.addConnectionAction(entry, ConnectionComPort, EntryVendorId);
    const auto isThere = [&] {
        const QList<QAction *> actions = probe.menu()->actions();
        return std::any_of(actions.begin(), actions.end(),
                           [&](const QAction *action) { return action->text() == entry; });
    };
    QVERIFY(isThere());
    const QByteArray record = recordOf(deviceType, path);
    const char *const sent = path.isNull() ? nullptr : record.constData();
    SendMessageW(reinterpret_cast<HWND>(window.winId()), message, event, reinterpret_cast<LPARAM>(sent));
    QCOMPARE(!isThere(), runs);
}

QTEST_MAIN(WindowsNoticesTest)
#include "tst_usbmonitor_windows.moc"
