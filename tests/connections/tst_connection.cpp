// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "tests/support/testcase.h"

namespace {

const QString InfraRedText = QStringLiteral("InfraRed SUB-20");
const QString ModbusText = QStringLiteral("Modbus SUB-20");
constexpr int NoEntry = -1;

SerialPort port(const QString &name, quint16 vendorId = 0)
{
    return {name, QStringLiteral("Converter"), vendorId};
}

/// One connection as a line: its text, its type, its icon and its vendor.
QStringList lines(const QList<Connection> &connections)
{
    QStringList result;
    for (const Connection &connection : connections)
        result += QStringLiteral("%1 | %2 | %3 | %4")
                      .arg(connection.text, QString::number(connection.type), connection.iconPath,
                           QString::number(connection.vendorId));
    return result;
}

} // namespace

/// The table of connection types, the connections over what is there, and the one that a stored name means.
class ConnectionTest : public TestCase
{
    Q_OBJECT

private slots:
    void everyTypeHasItsRow_data();
    void everyTypeHasItsRow();
    void anotherTypeHasNone_data();
    void anotherTypeHasNone();
    void theAddressMattersForModbus_data();
    void theAddressMattersForModbus();

    void nothingThere();
    void theAdapterGivesAPair();
    void aPortGivesOneEach();
    void theAdapterStandsBeforeThePorts();
    void aPortsNameIsTakenAsItStands();

    void theStoredName_data();
    void theStoredName();
};

void ConnectionTest::everyTypeHasItsRow_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("overAdapter");
    QTest::addColumn<bool>("byInfraRed");
    QTest::newRow("infrared") << int{ConnectionInfraRed} << true << true;
    QTest::newRow("Modbus through the adapter") << int{ConnectionModbusSub20} << true << false;
    QTest::newRow("serial port") << int{ConnectionComPort} << false << false;
}

void ConnectionTest::everyTypeHasItsRow()
{
    QFETCH(const int, type);
    QFETCH(const bool, overAdapter);
    QFETCH(const bool, byInfraRed);
    const ConnectionKind *const kind = connectionKind(type);
    QVERIFY(kind);
    QCOMPARE(int{kind->type}, type);
    QCOMPARE(kind->device == ConnectionDevice::Sub20, overAdapter);
    QCOMPARE(kind->loader == ConnectionLoader::InfraRed, byInfraRed);
}

void ConnectionTest::anotherTypeHasNone_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("no connection") << int{ConnectionNone};
    QTest::newRow("a newer one") << 4;
    QTest::newRow("less than none") << -1;
}

void ConnectionTest::anotherTypeHasNone()
{
    QFETCH(const int, type);
    QVERIFY(!connectionKind(type));
}

/// Also a type that this program does not know: a newer one's file may name it.
void ConnectionTest::theAddressMattersForModbus_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("hasAddress");
    QTest::newRow("less than none") << -1 << false;
    QTest::newRow("no connection") << int{ConnectionNone} << false;
    QTest::newRow("infrared") << int{ConnectionInfraRed} << false;
    QTest::newRow("Modbus through the adapter") << int{ConnectionModbusSub20} << true;
    QTest::newRow("serial port") << int{ConnectionComPort} << true;
    QTest::newRow("a newer one") << 4 << true;
}

void ConnectionTest::theAddressMattersForModbus()
{
    QFETCH(const int, type);
    QTEST(connectionHasAddress(type), "hasAddress");
}

void ConnectionTest::nothingThere()
{
    QVERIFY(connectionsOver(false, {}).isEmpty());
}

void ConnectionTest::theAdapterGivesAPair()
{
    QCOMPARE(lines(connectionsOver(true, {})),
             QStringList({QStringLiteral("InfraRed SUB-20 | 1 | :/pictures/infrared.png | 1240"),
                          QStringLiteral("Modbus SUB-20 | 2 | :/pictures/data_cable.png | 1240")}));
}

void ConnectionTest::aPortGivesOneEach()
{
    const QList<SerialPort> ports{port(QStringLiteral("COM4"), 0x0403), port(QStringLiteral("COM3")),
                                  port(QStringLiteral("COM10"), 0xFFFF)};
    QCOMPARE(lines(connectionsOver(false, ports)),
             QStringList({QStringLiteral("COM4 | 3 | :/pictures/data_cable.png | 1027"),
                          QStringLiteral("COM3 | 3 | :/pictures/data_cable.png | 0"),
                          QStringLiteral("COM10 | 3 | :/pictures/data_cable.png | 65535")}));
}

void ConnectionTest::theAdapterStandsBeforeThePorts()
{
    const QList<Connection> connections = connectionsOver(true, {port(QStringLiteral("COM1"))});
    QStringList texts;
    for (const Connection &connection : connections)
        texts += connection.text;
    QCOMPARE(texts, QStringList({InfraRedText, ModbusText, QStringLiteral("COM1")}));
}

void ConnectionTest::aPortsNameIsTakenAsItStands()
{
    for (const QString &name : {QStringLiteral("tty%1"), QStringLiteral("%1"), QStringLiteral("%2 %1 %n")})
        QCOMPARE(connectionsOver(false, {port(name)}).constFirst().text, name);
}

void ConnectionTest::theStoredName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("exactFirst");
    const QString com1 = QStringLiteral("COM1");
    const QString com10 = QStringLiteral("COM10");
    const QStringList all{InfraRedText, ModbusText, com10, com1};

    QTest::newRow("infrared") << InfraRedText << all << 0 << 0;
    QTest::newRow("Modbus") << ModbusText << all << 1 << 1;
    QTest::newRow("a longer name stands before it") << com1 << all << 2 << 3;
    QTest::newRow("a longer name stands behind it") << com1 << QStringList{com1, com10} << 0 << 0;
    QTest::newRow("the whole name") << com10 << all << 2 << 2;
    QTest::newRow("only a longer name is there") << com1 << QStringList{ModbusText, com10} << 1 << 1;
    QTest::newRow("a part of two") << QStringLiteral("SUB-20") << all << 0 << 0;
    QTest::newRow("a part in the middle") << QStringLiteral("OM10") << all << 2 << 2;
    QTest::newRow("gone") << QStringLiteral("COM7") << all << NoEntry << NoEntry;
    QTest::newRow("in another case") << QStringLiteral("com1") << all << NoEntry << NoEntry;
    QTest::newRow("a pattern is no pattern") << QStringLiteral("COM.*") << all << NoEntry << NoEntry;
    QTest::newRow("nothing stored") << QString() << all << 0 << 0;
    QTest::newRow("stored as nothing") << QStringLiteral("") << all << 0 << 0;
    QTest::newRow("an empty menu") << com1 << QStringList() << NoEntry << NoEntry;
    QTest::newRow("nothing stored, an empty menu") << QString() << QStringList() << NoEntry << NoEntry;
}

void ConnectionTest::theStoredName()
{
    QFETCH(const QString, name);
    QFETCH(const QStringList, texts);
    QTEST(static_cast<int>(storedConnection(texts, name, NameMatch::First).value_or(NoEntry)), "first");
    QTEST(static_cast<int>(storedConnection(texts, name, NameMatch::ExactFirst).value_or(NoEntry)),
          "exactFirst");
}

QTEST_GUILESS_MAIN(ConnectionTest)
#include "tst_connection.moc"
