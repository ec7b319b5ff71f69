// SPDX-License-Identifier: MIT
#include "connections/portfilter.h"
#include "tests/support/testcase.h"

/// Which serial ports reach the menu.
class TestPortFilter : public TestCase
{
    Q_OBJECT

private slots:
    void unusable_data();
    void unusable();
    void filter_data();
    void filter();
};

void TestPortFilter::unusable_data()
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

void TestPortFilter::unusable()
{
    QFETCH(QString, description);
    QTEST(isUnusablePort(description), "unusable");
}

void TestPortFilter::filter_data()
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

void TestPortFilter::filter()
{
    QFETCH(QStringList, ports);
    removeUnusablePorts(ports, [](const QString &port) { return port.section(u':', 1); });
    for (QString &port : ports)
        port = port.section(u':', 0, 0);
    QTEST(ports, "kept");
}

QTEST_GUILESS_MAIN(TestPortFilter)
#include "tst_portfilter.moc"
