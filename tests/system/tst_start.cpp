// SPDX-License-Identifier: MIT
#include "tests/system/screentext.h"
#include "tests/system/systemtest.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

using State = Accessible::State;

namespace {

constexpr quint16 ConverterVendorId = 0x0403;

} // namespace

/// What the window shows at its start, with the settings and the connections as they happen to be.
class SystemStart : public SystemTest
{
    Q_OBJECT

private slots:
    void firstStartWithoutConnections();
    void settingsComeBack();
    void damagedSettingsCountAsMissing_data();
    void damagedSettingsCountAsMissing();
    void settingsThatCannotBeWrittenAreDoneWithout();
    void portsWithoutADescriptionOrOfBluetoothAreNotOffered();
    void vanishedPortGivesWayToTheFirstConnection();
};

void SystemStart::firstStartWithoutConnections()
{
    startProgram();
    QCOMPARE(program().statusLabel().name(), QStringLiteral("No Available Connections"));
    QTRY_VERIFY(hasWritingIn(Qt::red, program().picture(program().statusLabel())));
    QVERIFY(!program().connectionMenu().is(State::Enabled));
    QCOMPARE(program().connections(), QStringList());
    QCOMPARE(program().addressBox().text(), QStringLiteral("0x50"));
    QCOMPARE(program().fileField().text(), QString());
    QVERIFY(!program().updateButton().is(State::Enabled));
    QVERIFY(program().loadButton().is(State::Enabled));
    QCOMPARE(readFile(settings().file()), QByteArray("[settings]\naddress=80\n"));
}

void SystemStart::settingsComeBack()
{
    const PanelProcess panel;
    plugIn(panel, portName());
    plugIn(panel, portName() + u'1');
    settings().setValue(QStringLiteral("settings/deviceName"), portName() + u'1');
    settings().setValue(QStringLiteral("settings/address"), 0x17);
    settings().setValue(QStringLiteral("settings/filename"), QStringLiteral("/no such folder/deleted.INC"));
    startProgram();
    QCOMPARE(program().checkedConnections(), QStringList(portName() + u'1'));
    QCOMPARE(program().addressBox().text(), QStringLiteral("0x17"));
    QVERIFY(program().addressBox().is(State::Enabled));
    QCOMPARE(program().fileField().text(), QStringLiteral("/no such folder/deleted.INC"));
    QVERIFY(program().updateButton().is(State::Enabled));
}

void SystemStart::damagedSettingsCountAsMissing_data()
{
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("zeros") << QByteArray(4096, '\0');
    QTest::newRow("not text") << QByteArray::fromHex("fffe00d8ff7f80c3285b5d3d0d0a");
    QTest::newRow("no section") << QByteArray("]settings[\n==\naddress=\n\\x\n");
}

void SystemStart::damagedSettingsCountAsMissing()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(QDir().mkpath(QFileInfo(settings().file()).path()));
    writeFile(settings().file(), bytes);
    startProgram();
    QCOMPARE(program().addressBox().text(), QStringLiteral("0x50"));
    QCOMPARE(program().fileField().text(), QString());
    QVERIFY(!program().updateButton().is(State::Enabled));
    QCOMPARE(program().boxTexts(), QStringList());
}

void SystemStart::settingsThatCannotBeWrittenAreDoneWithout()
{
    const PanelProcess panel;
    plugIn(panel);
    const QByteArray image = makeImage(3 * RecordSize);
    QVERIFY(QDir().mkpath(settings().file())); // a folder where the file should be
    startProgram();
    QCOMPARE(program().addressBox().text(), QStringLiteral("0x50"));
    QCOMPARE(program().checkedConnections(), QStringList(portName()));
    chooseImage(imageFile());
    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    waitForEndOfUpdate();
    QCOMPARE(program().boxTexts(), QStringList());
    QVERIFY(QFileInfo(settings().file()).isDir());
}

void SystemStart::portsWithoutADescriptionOrOfBluetoothAreNotOffered()
{
    devices().addSerialPort(QStringLiteral("ttyUSB1"), QStringLiteral("USB Serial"), ConverterVendorId);
    devices().addSerialPort(QStringLiteral("ttyUSB2"), QStringLiteral("Serial over bluetooth link"),
                            ConverterVendorId);
    startProgram();
    QCOMPARE(program().connections(), QStringList(QStringLiteral("ttyUSB1")));
}

void SystemStart::vanishedPortGivesWayToTheFirstConnection()
{
    const PanelProcess panel;
    plugIn(panel);
    settings().setValue(QStringLiteral("settings/deviceName"), QStringLiteral("ttyGone"));
    startProgram();
    QCOMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + portName());
    QCOMPARE(settings().value(QStringLiteral("settings/deviceName")).toString(), portName());
}

QTEST_MAIN(SystemStart)
#include "tst_start.moc"
