// SPDX-License-Identifier: MIT
#include "tests/system/systemtest.h"

#include <QTest>

using State = Accessible::State;

namespace {

/// Whole blocks of infrared frames as well as whole Modbus records.
constexpr qsizetype ImageSize = 48 * 32;
const QString InfraRed = QStringLiteral("InfraRed SUB-20");
const QString Modbus = QStringLiteral("Modbus SUB-20");

} // namespace

/// Updates through the SUB-20 adapter.
class SystemAdapter : public SystemTest
{
    Q_OBJECT

private slots:
    void menuOffersBothConnections();
    void imageArrivesByteForByte_data();
    void imageArrivesByteForByte();
    void missingAdapterIsReported_data();
    void missingAdapterIsReported();
    void windowClosesWithTheAdapterMissing();
    void windowClosesRightAfterTheBox();
    void windowClosesDuringInfraredUpdate();
};

void SystemAdapter::menuOffersBothConnections()
{
    const PanelProcess panel;
    plugIn(panel);
    setAdapters(2);
    startProgram();
    QCOMPARE(program().connections(), QStringList({InfraRed, Modbus, portName()}));
    QCOMPARE(program().checkedConnections(), QStringList(InfraRed));
    QVERIFY(!program().addressBox().is(State::Enabled));
    QVERIFY(!program().addressCaption().is(State::Enabled));

    program().chooseConnection(Modbus);
    QTRY_COMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + Modbus);
    QVERIFY(program().addressBox().is(State::Enabled));
    QVERIFY(program().addressCaption().is(State::Enabled));
    program().chooseConnection(InfraRed);
    QTRY_COMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + InfraRed);
    QVERIFY(!program().addressBox().is(State::Enabled));
}

void SystemAdapter::imageArrivesByteForByte_data()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<QString>("received");
    QTest::addColumn<QString>("time");

    QTest::newRow("infrared") << InfraRed << QStringLiteral("ZEPHYRIN_SUB20_IR_IMAGE")
                              << QStringLiteral("ZEPHYRIN_SUB20_IR_TIME");
    QTest::newRow("Modbus") << Modbus << QStringLiteral("ZEPHYRIN_SUB20_RS_IMAGE")
                            << QStringLiteral("ZEPHYRIN_SUB20_RS_TIME");
}

void SystemAdapter::imageArrivesByteForByte()
{
    constexpr double Full = 100;
    QFETCH(QString, connection);
    QFETCH(QString, received);
    QFETCH(QString, time);
    const QByteArray image = rememberImage(ImageSize);
    setAdapters(1);
    program().setVariable(received, filePath(QStringLiteral("received")));
    program().setVariable(time, QStringLiteral("20"));
    startProgram();
    program().chooseConnection(connection);
    pressUpdateButton();
    QTRY_VERIFY(program().isUpdating());
    QVERIFY(!program().loadButton().is(State::Enabled));
    waitForEndOfUpdate();
    QCOMPARE(program().percent(), Full);
    QCOMPARE(readFile(filePath(QStringLiteral("received"))), image);
}

void SystemAdapter::missingAdapterIsReported_data()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<QString>("text");

    QTest::newRow("infrared") << InfraRed << QStringLiteral("SUB-20 not connected!");
    QTest::newRow("Modbus") << Modbus << QStringLiteral("Can't open SUB-20");
}

void SystemAdapter::missingAdapterIsReported()
{
    QFETCH(QString, connection);
    QFETCH(QString, text);
    const QByteArray image = rememberImage(ImageSize);
    setAdapters(1);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_IR_IMAGE"), filePath(QStringLiteral("received")));
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_RS_IMAGE"), filePath(QStringLiteral("received")));
    startProgram();
    program().chooseConnection(connection);
    setAdapters(0);
    pressUpdateButton();
    QTRY_COMPARE(program().boxTexts(), QStringList({QStringLiteral("Error:"), text}));
    program().closeBox();
    QTRY_VERIFY(program().isIdle());

    setAdapters(1);
    pressUpdateButton();
    QTRY_COMPARE(readFile(filePath(QStringLiteral("received"))), image);
    waitForEndOfUpdate();
}

// The loader's thread has a box on the way to the window while the window goes down. Nobody is there to close
// it: a program that waited for that would never end.
void SystemAdapter::windowClosesWithTheAdapterMissing()
{
    rememberImage(ImageSize);
    setAdapters(1);
    startProgram();
    setAdapters(0);
    const Accessible start = program().updateButton();
    const QRect area = start.extents();
    program().freeze();
    desktop->click(area.center());
    program().press(QStringLiteral("alt+F4"));
    program().thaw();
    QTRY_VERIFY(program().mainWindow().isNull());
    QCOMPARE(program().waitForEnd(EndTimeoutMs), ExitCodeOfSuccess);
}

void SystemAdapter::windowClosesRightAfterTheBox()
{
    rememberImage(ImageSize);
    setAdapters(1);
    startProgram();
    setAdapters(0);
    pressUpdateButton();
    QTRY_VERIFY(!program().boxTexts().isEmpty());
    program().closeBox();
    QCOMPARE(program().close(EndTimeoutMs), ExitCodeOfSuccess);
}

void SystemAdapter::windowClosesDuringInfraredUpdate()
{
    const QByteArray image = rememberImage(100 * ImageSize); // three minutes of infrared
    setAdapters(1);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_IR_IMAGE"), filePath(QStringLiteral("received")));
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_IR_TIME"), QStringLiteral("20"));
    startProgram();
    pressUpdateButton();
    QTRY_VERIFY(program().percent() > 0);
    QCOMPARE(program().close(EndTimeoutMs), ExitCodeOfSuccess);
    QCOMPARE_LT(readFile(filePath(QStringLiteral("received"))).size(), image.size());
}

QTEST_MAIN(SystemAdapter)
#include "tst_adapter.moc"
