// SPDX-License-Identifier: MIT
#include "tests/system/screentext.h"
#include "tests/system/systemtest.h"

#include <QTest>

#include <optional>

using State = Accessible::State;

namespace {

const QString NoConnections = QStringLiteral("No Available Connections");

} // namespace

/// Devices that are plugged in and pulled out while the program runs.
class SystemHotplug : public SystemTest
{
    Q_OBJECT

private slots:
    void portThatIsPluggedInCanBeUsed();
    void portThatIsPulledOutIsNoLongerOffered();
    void portIsPulledOutDuringAnUpdate();
};

void SystemHotplug::portThatIsPluggedInCanBeUsed()
{
    const PanelProcess panel;
    const QByteArray image = rememberImage(3 * RecordSize);
    startProgram();
    QCOMPARE(program().statusLabel().name(), NoConnections);

    plugIn(panel);
    QTRY_COMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + portName());
    QTRY_VERIFY(hasWritingIn(QColor("green"), program().picture(program().statusLabel())));
    QVERIFY(program().connectionMenu().is(State::Enabled));
    QCOMPARE(program().checkedConnections(), QStringList(portName()));
    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    waitForEndOfUpdate();
}

void SystemHotplug::portThatIsPulledOutIsNoLongerOffered()
{
    const PanelProcess panel;
    const QString first = plugIn(panel);
    const QString second = plugIn(panel, portName() + u'1');
    startProgram();
    QCOMPARE(program().connections(), QStringList({portName(), portName() + u'1'}));
    devices().remove(first);
    QTRY_COMPARE(program().connections(), QStringList(portName() + u'1'));
    QCOMPARE(program().checkedConnections(), QStringList(portName() + u'1'));
    devices().remove(second);
    QTRY_COMPARE(program().statusLabel().name(), NoConnections);
    QVERIFY(!program().connectionMenu().is(State::Enabled));
}

void SystemHotplug::portIsPulledOutDuringAnUpdate()
{
    constexpr int AtOnceMs = 1000;
    auto panel = std::make_optional<PanelProcess>();
    const QString device = plugIn(*panel);
    rememberImage(200 * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel->waitForRecords(5));
    QTRY_VERIFY(program().isUpdating());
    panel.reset(); // the line is dead
    devices().remove(device);
    QTRY_VERIFY_WITH_TIMEOUT(program().isIdle(), AtOnceMs);
    QTRY_COMPARE(program().statusLabel().name(), NoConnections);
    QCOMPARE(program().boxTexts(), QStringList());
}

QTEST_MAIN(SystemHotplug)
#include "tst_hotplug.moc"
