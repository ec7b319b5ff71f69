// SPDX-License-Identifier: MIT
#include "tests/system/systemtest.h"

#include <QTest>

namespace {

const QString Key = QStringLiteral("options/alert_when_done");
const QString On = QStringLiteral("true");
/// What an update of some seconds has.
constexpr qsizetype SomeRecords = 60;
/// For what must not happen.
constexpr int WhileMs = 500;

} // namespace

/// The task bar's entry asks for attention when an update has ended behind another window, where that is
/// wanted.
class SystemAlert : public SystemTest
{
    Q_OBJECT

private slots:
    void anEndBehindAnotherWindowAlerts_data();
    void anEndBehindAnotherWindowAlerts();
    void withoutTheKeyNothingDoes();
    void anEndInFrontDoesNot();

private:
    /// A second person's program, whose window comes to the front.
    struct Other
    {
        explicit Other(const Desktop &desktop) : program(desktop) { program.start(settings.path()); }

        SettingsFolder settings;
        UpdateProgram program;
    };

    bool demandsAttention() const
    {
        return desktop->demandsAttention(program().processId(), program().mainWindow().name());
    }
    /// Goes to another window while an update runs, waits for its end, and sees whether there is an alert.
    void updateBehindAnotherWindow(const PanelProcess &panel) const;
};

void SystemAlert::updateBehindAnotherWindow(const PanelProcess &panel) const
{
    plugIn(panel);
    rememberImage(SomeRecords * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel.waitForRecords(1));
    const Other other(*desktop);
    QTRY_VERIFY(!program().mainWindow().is(Accessible::State::Active));
    QVERIFY(program().isUpdating());
    QVERIFY(!demandsAttention());
    waitForEndOfUpdate();
    if (settings().value(Key) == On) {
        QTRY_VERIFY(demandsAttention());
    } else {
        QTest::qWait(WhileMs);
        QVERIFY(!demandsAttention());
    }
    QVERIFY(!program().mainWindow().is(Accessible::State::Active));
}

void SystemAlert::anEndBehindAnotherWindowAlerts_data()
{
    QTest::addColumn<QStringList>("misbehaviour");
    QTest::newRow("success") << QStringList();
    QTest::newRow("failure") << QStringList{QStringLiteral("--hang-up"), QStringLiteral("--from-record"),
                                            QStringLiteral("50")};
}

void SystemAlert::anEndBehindAnotherWindowAlerts()
{
    QFETCH(const QStringList, misbehaviour);
    const PanelProcess panel(misbehaviour);
    settings().setValue(Key, On);
    updateBehindAnotherWindow(panel);
    // The other window is gone, and this one is in front again.
    QTRY_VERIFY(!demandsAttention());
}

void SystemAlert::withoutTheKeyNothingDoes()
{
    const PanelProcess panel;
    updateBehindAnotherWindow(panel);
}

void SystemAlert::anEndInFrontDoesNot()
{
    const PanelProcess panel;
    settings().setValue(Key, On);
    plugIn(panel);
    rememberImage(5 * RecordSize);
    startProgram();
    pressUpdateButton();
    QTRY_COMPARE(panel.image().size(), 5 * RecordSize);
    waitForEndOfUpdate();
    QTest::qWait(WhileMs);
    QVERIFY(!demandsAttention());
}

QTEST_MAIN(SystemAlert)
#include "tst_alert.moc"
