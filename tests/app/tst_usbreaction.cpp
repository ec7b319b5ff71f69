// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "connections/usbevent.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>

using Kind = UsbEvent::Kind;

namespace {

constexpr quint16 ConverterVendorId = 0x0403;
constexpr quint16 OtherConverterVendorId = 0x067B;
constexpr quint16 UnrelatedVendorId = 0x046D;
constexpr quint16 AdapterVendorId = 0x04D8;

const QString Port0 = QStringLiteral("ttyUSB0");
const QString Port1 = QStringLiteral("ttyUSB1");
const QString Port2 = QStringLiteral("ttyUSB2");
const QString Converter = QStringLiteral("USB Serial Converter");

} // namespace

/// What the window does about what the system reports of USB devices.
class UsbReactionTest : public TestCase
{
    Q_OBJECT

private slots:
    void arrival_data();
    void arrival();
    void removal_data();
    void removal();
    void matchesAreCountedBeforeTheFirstRun();
    void portsOutsideTheMenuCountForAnArrival();
    void lostEventsTakeOneLook();

    void theButtonFollowsTheFileField_data();
    void theButtonFollowsTheFileField();
    void theButtonStaysAsItIsWithoutARun();

private:
    static int runs(const SimulatedAdapter &adapter);
    static int runsOf(const WindowBench &bench, const SimulatedAdapter &adapter, const UsbEvent &event);
    static QStringList entries(const WindowBench &bench);
};

/// How often discovery has run.
int UsbReactionTest::runs(const SimulatedAdapter &adapter)
{
    return static_cast<int>(adapter.calls(QStringLiteral("sub_find_devices")).size());
}

/// How often discovery runs for this event.
int UsbReactionTest::runsOf(const WindowBench &bench, const SimulatedAdapter &adapter, const UsbEvent &event)
{
    const int before = runs(adapter);
    bench.devices.report(event);
    return runs(adapter) - before;
}

/// The texts of the menu's entries, the checked one in brackets.
QStringList UsbReactionTest::entries(const WindowBench &bench)
{
    QStringList texts;
    for (const QAction *const action : bench.widget<QMenu>("menuActions")->actions())
        texts += action->isChecked() ? QStringLiteral("[%1]").arg(action->text()) : action->text();
    return texts;
}

void UsbReactionTest::arrival_data()
{
    QTest::addColumn<int>("adapters");
    QTest::addColumn<QList<quint16>>("ports"); // by their vendors
    QTest::addColumn<quint32>("vendorId");
    QTest::addColumn<int>("runs");
    using Ports = QList<quint16>;
    const auto row = [](const char *name, int adapters, const Ports &ports, quint32 vendorId, int runs) {
        QTest::newRow(name) << adapters << ports << vendorId << runs;
    };
    row("adapter, no ports", 1, {}, AdapterVendorId, 1);
    row("adapter that is not found, no ports", 0, {}, AdapterVendorId, 1);
    row("adapter beside ports of its vendor", 1, {AdapterVendorId, AdapterVendorId}, AdapterVendorId, 1);
    row("port", 0, {ConverterVendorId}, ConverterVendorId, 1);
    row("two ports of its vendor", 0, {ConverterVendorId, OtherConverterVendorId, ConverterVendorId},
        ConverterVendorId, 2);
    row("vendor of no port", 1, {ConverterVendorId, 0}, UnrelatedVendorId, 0);
    row("no ports at all", 1, {}, ConverterVendorId, 0);
    row("vendor with more than 16 bits", 1, {ConverterVendorId}, 0x1'04D8, 0);
}

void UsbReactionTest::arrival()
{
    QFETCH(const int, adapters);
    QFETCH(const QList<quint16>, ports);
    QFETCH(const quint32, vendorId);
    const SimulatedAdapter adapter(adapters);
    WindowBench bench(adapter);
    for (qsizetype i = 0; i < ports.size(); ++i)
        bench.devices.addSerialPort(QStringLiteral("ttyUSB%1").arg(i), Converter, ports[i]);
    bench.start();
    QTEST(runsOf(bench, adapter, {Kind::Arrival, vendorId}), "runs");
}

void UsbReactionTest::removal_data()
{
    QTest::addColumn<QList<quint16>>("menu");
    QTest::addColumn<quint32>("vendorId");
    QTest::addColumn<int>("runs");
    using Vendors = QList<quint16>;
    const auto row = [](const char *name, const Vendors &menu, quint32 vendorId, int runs) {
        QTest::newRow(name) << menu << vendorId << runs;
    };
    row("adapter", {AdapterVendorId, AdapterVendorId}, AdapterVendorId, 2);
    row("adapter and a port of its vendor", {AdapterVendorId, AdapterVendorId, AdapterVendorId},
        AdapterVendorId, 3);
    row("port", {AdapterVendorId, AdapterVendorId, ConverterVendorId}, ConverterVendorId, 1);
    row("three ports", {ConverterVendorId, ConverterVendorId, ConverterVendorId}, ConverterVendorId, 3);
    row("vendor of no entry", {AdapterVendorId, ConverterVendorId, 0}, UnrelatedVendorId, 0);
    row("empty menu", {}, AdapterVendorId, 0);
    row("vendor with more than 16 bits", {AdapterVendorId}, 0x1'04D8, 0);
}

void UsbReactionTest::removal()
{
    QFETCH(const QList<quint16>, menu);
    QFETCH(const quint32, vendorId);
    const SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    bench.start();
    for (const quint16 vendor : menu)
        bench.probe().addConnectionAction(QStringLiteral("entry"), ConnectionComPort, vendor);
    QTEST(runsOf(bench, adapter, {Kind::Removal, vendorId}), "runs");
}

void UsbReactionTest::matchesAreCountedBeforeTheFirstRun()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench(adapter);
    bench.start();
    QCOMPARE(entries(bench).size(), 2);
    adapter.setAdapters(0); // the first run already leaves an empty menu
    QCOMPARE(runsOf(bench, adapter, {Kind::Removal, AdapterVendorId}), 2);
    QCOMPARE(entries(bench), QStringList());
    QCOMPARE(runsOf(bench, adapter, {Kind::Removal, AdapterVendorId}), 0);
}

void UsbReactionTest::portsOutsideTheMenuCountForAnArrival()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    bench.devices.addSerialPort(Port0, QStringLiteral("Bluetooth link"), ConverterVendorId);
    bench.start();
    QCOMPARE(entries(bench), QStringList());
    QCOMPARE(runsOf(bench, adapter, {Kind::Arrival, ConverterVendorId}), 1);
    QCOMPARE(runsOf(bench, adapter, {Kind::Removal, ConverterVendorId}), 0);
}

void UsbReactionTest::theButtonFollowsTheFileField_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("before");
    for (const bool before : {false, true}) {
        QTest::addRow("a file, %s before", before ? "on" : "off") << QStringLiteral("panel.INC") << before;
        QTest::addRow("a blank, %s before", before ? "on" : "off") << QStringLiteral(" ") << before;
        QTest::addRow("nothing, %s before", before ? "on" : "off") << QString() << before;
    }
}

void UsbReactionTest::theButtonFollowsTheFileField()
{
    QFETCH(const QString, text);
    QFETCH(const bool, before);
    const SimulatedAdapter adapter(1);
    WindowBench bench(adapter);
    bench.start();
    bench.widget<QLineEdit>("lineEdit")->setText(text);
    auto *const button = bench.widget<QPushButton>("updBtn");
    for (const Kind kind : {Kind::Arrival, Kind::Removal}) {
        button->setEnabled(before);
        QVERIFY(runsOf(bench, adapter, {kind, AdapterVendorId}) > 0);
        QCOMPARE(button->isEnabled(), !text.isEmpty());
    }
}

void UsbReactionTest::theButtonStaysAsItIsWithoutARun()
{
    const SimulatedAdapter adapter(1);
    WindowBench bench(adapter);
    bench.start();
    auto *const button = bench.widget<QPushButton>("updBtn");
    button->setEnabled(true);
    for (const Kind kind : {Kind::Arrival, Kind::Removal}) {
        QCOMPARE(runsOf(bench, adapter, {kind, UnrelatedVendorId}), 0);
        QVERIFY(button->isEnabled());
    }
}

void UsbReactionTest::lostEventsTakeOneLook()
{
    const SimulatedAdapter adapter(0);
    WindowBench bench(adapter);
    for (const QString &port : {Port0, Port1, Port2})
        bench.devices.addSerialPort(port, Converter, ConverterVendorId);
    bench.start();
    QCOMPARE(runsOf(bench, adapter, {Kind::Lost}), 1);
}

QTEST_MAIN(UsbReactionTest)
#include "tst_usbreaction.moc"
