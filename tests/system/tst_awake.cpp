// SPDX-License-Identifier: MIT
#include "tests/support/hangingbus.h"
#include "tests/support/loginmanager.h"
#include "tests/system/systemtest.h"

#include <QTest>

namespace {

constexpr qsizetype ManyRecords = 200;
const QString Everything = QStringLiteral("sleep:idle:handle-lid-switch:shutdown");

} // namespace

/// The computer stays awake while the real program updates, by a login manager that is made up.
class SystemAwake : public SystemTest
{
    Q_OBJECT

private slots:
    void anUpdateTakesALockAndGivesItBack();
    void stopGivesItBack();
    void closingGivesItBack();
    void aProgramThatIsKilledLeavesNoLock();
    void aBusThatHangsDoesNotKeepTheProgram();

private:
    /// Has an update begin that takes its time.
    void startUpdate(const PanelProcess &panel, const QString &busAddress,
                     qsizetype records = ManyRecords) const;
};

void SystemAwake::startUpdate(const PanelProcess &panel, const QString &busAddress, qsizetype records) const
{
    plugIn(panel);
    rememberImage(records * RecordSize);
    program().setVariable(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
    startProgram();
    pressUpdateButton();
}

void SystemAwake::anUpdateTakesALockAndGivesItBack()
{
    const LoginManager login;
    const PanelProcess panel;
    startUpdate(panel, login.address(), 40);
    QTRY_COMPARE(login.held(), QStringList(Everything));
    QVERIFY(program().isUpdating());
    waitForEndOfUpdate();
    QTRY_COMPARE(login.held(), QStringList());
    QCOMPARE(login.requests(),
             QStringList(Everything +
                         QStringLiteral(", Zephyrin Update Utility, A firmware update is running, block")));
    QVERIFY(!program().printed().contains(QStringLiteral("fall asleep")));

    pressUpdateButton();
    QTRY_COMPARE(login.held(), QStringList(Everything));
    waitForEndOfUpdate();
    QTRY_COMPARE(login.held(), QStringList());
    QCOMPARE(login.granted().size(), 2);
}

void SystemAwake::stopGivesItBack()
{
    const LoginManager login;
    const PanelProcess panel;
    startUpdate(panel, login.address());
    QTRY_COMPARE(login.held(), QStringList(Everything));
    pressUpdateButton();
    QTRY_COMPARE(login.held(), QStringList());
    QVERIFY(program().isIdle());
}

void SystemAwake::closingGivesItBack()
{
    constexpr int SoonMs = 2000;
    const LoginManager login;
    const PanelProcess panel;
    startUpdate(panel, login.address());
    QTRY_COMPARE(login.held(), QStringList(Everything));
    QCOMPARE(program().close(SoonMs), ExitCodeOfSuccess);
    QTRY_COMPARE(login.held(), QStringList());
    QCOMPARE(login.granted(), QStringList(Everything));
}

void SystemAwake::aProgramThatIsKilledLeavesNoLock()
{
    const LoginManager login;
    const PanelProcess panel;
    startUpdate(panel, login.address());
    QTRY_COMPARE(login.held(), QStringList(Everything));
    program().kill();
    QTRY_COMPARE(login.held(), QStringList());
}

// What waited for the bus would wait for half a minute.
void SystemAwake::aBusThatHangsDoesNotKeepTheProgram()
{
    constexpr int SoonMs = 5000;
    const HangingBus bus;
    const PanelProcess panel;
    startUpdate(panel, bus.address());
    QVERIFY(panel.waitForRecords(3));
    QTRY_VERIFY(bus.isAsked());
    QTRY_VERIFY(program().isUpdating()); // it answers
    QCOMPARE(program().close(SoonMs), ExitCodeOfSuccess);
}

QTEST_MAIN(SystemAwake)
#include "tst_awake.moc"
