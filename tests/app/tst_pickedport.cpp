// SPDX-License-Identifier: MIT
#include "tests/support/bytes.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"

#include <QAction>
#include <QMenu>

/// Which of two panels gets the bytes when the other port is picked in the menu, with the key
/// port_follows_menu and without.
class PickedPortTest : public TestCase
{
    Q_OBJECT

private slots:
    void bytesGoWhere_data();
    void bytesGoWhere();
};

void PickedPortTest::bytesGoWhere_data()
{
    QTest::addColumn<QString>("value"); // null for none
    QTest::addColumn<bool>("follows");
    QTest::newRow("missing") << QString() << false;
    QTest::newRow("true") << QStringLiteral("true") << true;
    QTest::newRow("false") << QStringLiteral("false") << false;
}

void PickedPortTest::bytesGoWhere()
{
    QFETCH(const QString, value);
    QFETCH(const bool, follows);
    const QByteArray image = unevenBytes(100);
    const PanelProcess stored;
    const PanelProcess picked;
    WindowBench bench;
    if (!value.isNull())
        bench.settings.setValue(QStringLiteral("options/port_follows_menu"), value);
    for (const PanelProcess *const panel : {&stored, &picked})
        bench.devices.addSerialPort(panel->path(), QStringLiteral("Converter"), 0x0403);
    bench.start(stored.path(), image);
    QCOMPARE(bench.widget<QMenu>("menuActions")->actions().size(), 2);
    bench.widget<QMenu>("menuActions")->actions().constLast()->trigger();
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(stored.image(), follows ? QByteArray() : image);
    QCOMPARE(picked.image(), follows ? image : QByteArray());
}

QTEST_MAIN(PickedPortTest)
#include "tst_pickedport.moc"
