// SPDX-License-Identifier: MIT
#include "connections/serialports.h"
#include "tests/support/testcase.h"

/// Which serial ports reach the menu.
class SerialPortsTest : public TestCase
{
    Q_OBJECT

private slots:
    void unusable_data();
    void unusable();
    void filter_data();
    void filter();
    void reasonsAreGiven();
};

void SerialPortsTest::unusable_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<bool>("unusable");

    QTest::newRow("no description") << QString() << true;
    QTest::newRow("empty") << QStringLiteral("") << true;
    QTest::newRow("blank") << QStringLiteral(" ") << false;
    QTest::newRow("ordinary") << QStringLiteral("USB Serial Port") << false;
    QTest::newRow("Bluetooth") << QStringLiteral("Standard Serial over Bluetooth link") << true;
    QTest::newRow("lower case") << QStringLiteral("bluetooth") << true;
    QTest::newRow("upper case") << QStringLiteral("MY BLUETOOTH PORT") << true;
    QTest::newRow("mixed case") << QStringLiteral("xBlUeToOtHx") << true;
    QTest::newRow("two words") << QStringLiteral("Blue tooth") << false;
}

void SerialPortsTest::unusable()
{
    QFETCH(const QString, description);
    QFETCH(const bool, unusable);
    const QList<SerialPort> ports{{QStringLiteral("A"), description, 0}};
    QCOMPARE(availableSerialPorts(ports), unusable ? QList<SerialPort>() : ports);
}

void SerialPortsTest::filter_data()
{
    QTest::addColumn<QStringList>("ports");
    QTest::addColumn<QStringList>("kept");

    // Name and description of each port. The one behind a removed port is never looked at.
    QTest::newRow("no ports") << QStringList() << QStringList();
    QTest::newRow("all usable") << QStringList{QStringLiteral("A:x"), QStringLiteral("B:y")}
                                << QStringList{QStringLiteral("A"), QStringLiteral("B")};
    QTest::newRow("only one, Bluetooth") << QStringList{QStringLiteral("A:Bluetooth")} << QStringList();
    QTest::newRow("only one, no description") << QStringList{QStringLiteral("A:")} << QStringList();
    QTest::newRow("empty, Bluetooth, ordinary")
        << QStringList{QStringLiteral("A:"), QStringLiteral("B:a BLUETOOTH port"), QStringLiteral("C:x")}
        << QStringList{QStringLiteral("B"), QStringLiteral("C")};
    QTest::newRow("two Bluetooth") << QStringList{QStringLiteral("A:Bluetooth"),
                                                  QStringLiteral("B:Bluetooth")}
                                   << QStringList{QStringLiteral("B")};
    QTest::newRow("three Bluetooth") << QStringList{QStringLiteral("A:Bluetooth"),
                                                    QStringLiteral("B:Bluetooth"),
                                                    QStringLiteral("C:Bluetooth")}
                                     << QStringList{QStringLiteral("B")};
    QTest::newRow("four empty") << QStringList{QStringLiteral("A:"), QStringLiteral("B:"),
                                               QStringLiteral("C:"), QStringLiteral("D:")}
                                << QStringList{QStringLiteral("B"), QStringLiteral("D")};
    QTest::newRow("unusable at the end")
        << QStringList{QStringLiteral("A:x"), QStringLiteral("B:")} << QStringList{QStringLiteral("A")};
    QTest::newRow("unusable in the middle") << QStringList{QStringLiteral("A:x"), QStringLiteral("B:"),
                                                           QStringLiteral("C:y"), QStringLiteral("D:")}
                                            << QStringList{QStringLiteral("A"), QStringLiteral("C")};
    QTest::newRow("usable behind a removed one")
        << QStringList{QStringLiteral("A:"), QStringLiteral("B:x"), QStringLiteral("C:")}
        << QStringList{QStringLiteral("B")};
}

void SerialPortsTest::filter()
{
    QFETCH(const QStringList, ports);
    QList<SerialPort> all;
    for (const QString &port : ports)
        all += SerialPort{port.section(u':', 0, 0), port.section(u':', 1), 0};
    QStringList names;
    for (const SerialPort &port : availableSerialPorts(all))
        names += port.name;
    QTEST(names, "kept");
}

void SerialPortsTest::reasonsAreGiven()
{
    const QList<SerialPort> ports{{QStringLiteral("A"), QStringLiteral("x"), 0},
                                  {QStringLiteral("B"), QString(), 0},
                                  {QStringLiteral("C"), QString(), 0},
                                  {QStringLiteral("D"), QStringLiteral("a bluetooth port"), 0}};
    QCOMPARE(exclusions(ports), QStringList({QString(), QStringLiteral("it has no description"), QString(),
                                             QStringLiteral("it is a Bluetooth port")}));
    QCOMPARE(exclusions({}), QStringList());
}

QTEST_GUILESS_MAIN(SerialPortsTest)
#include "tst_serialports.moc"
