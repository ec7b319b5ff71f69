// SPDX-License-Identifier: MIT
#include "tests/system/screentext.h"
#include "tests/system/systemtest.h"

#include <QDir>
#include <QTest>

using State = Accessible::State;

namespace {

constexpr quint16 ConverterVendorId = 0x0403;
constexpr quint16 OtherConverterVendorId = 0x067B;
constexpr quint16 MouseVendorId = 0x046D;
constexpr quint16 AdapterVendorId = 0x04D8;
constexpr quint16 AdapterProductId = 0xFFC3;
constexpr int Times = 10;
constexpr int PatienceMs = 30000;

const QString Converter = QStringLiteral("USB Serial");
const QString InfraRed = QStringLiteral("InfraRed SUB-20");
const QString Modbus = QStringLiteral("Modbus SUB-20");
const QString NotFollowed = QStringLiteral("USB devices are not followed: no device monitor");

QString other(const QString &port)
{
    return port + u'1';
}

} // namespace

/// The menu, the label and the button, while devices of all kinds come and go.
class SystemDevices : public SystemTest
{
    Q_OBJECT

private slots:
    void adapterComesAndGoes();
    void convertersOfOneVendorComeAndGo();
    void portThatIsPluggedInCanBeUsed();
    void storedPortIsTakenAsSoonAsItComes();
    void tenTimesInAndOut();
    void tenTimesInQuickSuccession();
    void devicesThatComeWhileTheProgramIsBusy();
    void unrelatedDevicesAreIgnored();
    void buttonIsLookedAtAfterEachChange();
    void updateThroughAPortGoesOn();
    void updateThroughTheAdapterGoesOn();
    void nothingIsDoneInBetween();
    void withoutDeviceManager();

private:
    /// The simulated adapter, seen by its library and by the system.
    QString plugInAdapter() const;
    void pullOutAdapter(const QString &id) const;
    QString plugInConverter(const QString &port, quint16 vendorId = ConverterVendorId) const;
    /// How often the program has looked for connections.
    qsizetype discoveries() const;
    /// Waits until the menu, its title, the label and the button show these connections, `checked` being the
    /// active one.
    void expectConnections(const QStringList &entries, const QString &checked) const;
    void expectNoConnections() const;
    void expectLabel(const QString &text, const QColor &colour) const;
    bool staysAsleep() const;
    /// How often one of the program's threads has slept and woken up again.
    int wakeUps() const;
};

QString SystemDevices::plugInAdapter() const
{
    setAdapters(1);
    return devices().addUsbDevice(AdapterVendorId, AdapterProductId);
}

void SystemDevices::pullOutAdapter(const QString &id) const
{
    setAdapters(0);
    devices().remove(id);
}

QString SystemDevices::plugInConverter(const QString &port, quint16 vendorId) const
{
    return devices().addSerialPort(port, Converter, vendorId);
}

qsizetype SystemDevices::discoveries() const
{
    return readFile(filePath(QStringLiteral("calls"))).count("sub_find_devices");
}

void SystemDevices::expectConnections(const QStringList &entries, const QString &checked) const
{
    QTRY_COMPARE(program().connections(), entries);
    QTRY_COMPARE(program().checkedConnections(), QStringList(checked));
    QTRY_VERIFY(program().connectionMenu().is(State::Enabled));
    expectLabel(QStringLiteral("Connection via ") + checked, QColor("green"));
    QTRY_COMPARE(program().addressBox().is(State::Enabled), checked != InfraRed);
}

void SystemDevices::expectNoConnections() const
{
    QTRY_COMPARE(program().connections(), QStringList());
    QTRY_VERIFY(!program().connectionMenu().is(State::Enabled));
    expectLabel(QStringLiteral("No Available Connections"), Qt::red);
}

void SystemDevices::expectLabel(const QString &text, const QColor &colour) const
{
    QTRY_COMPARE(program().statusLabel().name(), text);
    // QTRY_VERIFY would take three pictures where the first one shows it.
    const auto isWritten = [&] { return hasWritingIn(colour, program().picture(program().statusLabel())); };
    QVERIFY(QTest::qWaitFor(isWritten, PatienceMs));
    QTRY_COMPARE(program().updateButton().is(State::Enabled), !program().fileField().text().isEmpty());
}

/// True when the program needs no processor time. Looking at its window makes it answer: so it is left alone
/// for a while.
bool SystemDevices::staysAsleep() const
{
    constexpr int WhileMs = 1500;
    constexpr int Few = 20; // the field's cursor blinks
    return QTest::qWaitFor(
        [&] {
            const auto before = program().processorTime();
            const int wakeUpsBefore = wakeUps();
            QTest::qWait(WhileMs);
            return program().processorTime() == before && wakeUps() - wakeUpsBefore <= Few;
        },
        PatienceMs);
}

int SystemDevices::wakeUps() const
{
    int sum = 0;
    const QDir threads(QStringLiteral("/proc/%1/task").arg(program().processId()));
    for (const QString &thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QByteArray status = readFile(threads.filePath(thread + QStringLiteral("/status")));
        const QByteArray line = status.mid(status.indexOf("\nvoluntary_ctxt_switches:"));
        sum += line.simplified().split(' ').value(1).toInt();
    }
    return sum;
}

void SystemDevices::adapterComesAndGoes()
{
    setAdapters(0);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_LOG"), filePath(QStringLiteral("calls")));
    startProgram();
    expectNoConnections();
    QCOMPARE(discoveries(), 1);
    QVERIFY(!program().printed().contains(NotFollowed));
    const QString id = plugInAdapter();
    expectConnections({InfraRed, Modbus}, InfraRed);
    QCOMPARE(discoveries(), 2);
    pullOutAdapter(id);
    expectNoConnections();
    QCOMPARE(discoveries(), 4); // one for each of its two entries
}

void SystemDevices::convertersOfOneVendorComeAndGo()
{
    rememberImage(RecordSize);
    startProgram();
    expectNoConnections();
    const QString first = plugInConverter(portName());
    expectConnections({portName()}, portName());
    const QString second = plugInConverter(other(portName()));
    expectConnections({portName(), other(portName())}, portName());
    devices().remove(first);
    expectConnections({other(portName())}, other(portName()));
    plugInConverter(portName());
    expectConnections({other(portName()), portName()}, other(portName()));
    devices().remove(second);
    expectConnections({portName()}, portName());
}

void SystemDevices::portThatIsPluggedInCanBeUsed()
{
    const PanelProcess panel;
    const QByteArray image = rememberImage(3 * RecordSize);
    startProgram();
    expectNoConnections();
    plugIn(panel);
    expectConnections({portName()}, portName());
    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    waitForEndOfUpdate();
}

void SystemDevices::storedPortIsTakenAsSoonAsItComes()
{
    settings().setValue(QStringLiteral("settings/deviceName"), portName());
    setAdapters(1);
    startProgram();
    expectConnections({InfraRed, Modbus}, InfraRed);
    const QString id = plugInConverter(portName());
    expectConnections({InfraRed, Modbus, portName()}, portName());
    devices().remove(id);
    expectConnections({InfraRed, Modbus}, InfraRed);
}

void SystemDevices::tenTimesInAndOut()
{
    setAdapters(0);
    startProgram();
    for (int time = 0; time < Times; ++time) {
        const QString converter = plugInConverter(portName());
        expectConnections({portName()}, portName());
        const QString adapter = plugInAdapter();
        expectConnections({InfraRed, Modbus, portName()}, InfraRed);
        devices().remove(converter);
        expectConnections({InfraRed, Modbus}, InfraRed);
        pullOutAdapter(adapter);
        expectNoConnections();
    }
}

/// Without a look at the window in between.
void SystemDevices::tenTimesInQuickSuccession()
{
    rememberImage(RecordSize);
    setAdapters(0);
    plugInConverter(other(portName()), OtherConverterVendorId);
    startProgram();
    for (int time = 0; time < Times; ++time) {
        const QString converter = plugInConverter(portName());
        const QString adapter = plugInAdapter();
        devices().remove(converter);
        pullOutAdapter(adapter);
    }
    expectConnections({other(portName())}, other(portName()));
    for (int time = 0; time < Times; ++time) {
        pullOutAdapter(plugInAdapter());
        devices().remove(plugInConverter(portName()));
    }
    plugInConverter(portName());
    plugInAdapter();
    expectConnections({InfraRed, Modbus, other(portName()), portName()}, InfraRed);
}

void SystemDevices::devicesThatComeWhileTheProgramIsBusy()
{
    startProgram();
    program().freeze();
    devices().remove(plugInConverter(portName()));
    plugInConverter(other(portName()));
    program().thaw();
    expectConnections({other(portName())}, other(portName()));
}

void SystemDevices::unrelatedDevicesAreIgnored()
{
    setAdapters(1);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_LOG"), filePath(QStringLiteral("calls")));
    plugInConverter(portName());
    startProgram();
    const QStringList vendor{QStringLiteral("ID_VENDOR_ID"), QStringLiteral("04d8")};
    for (int time = 0; time < Times; ++time) {
        devices().remove(devices().addUsbDevice(MouseVendorId, 1));
        devices().remove(devices().addPlainDevice("hidraw", QStringLiteral("hidraw0"), {}, vendor));
        devices().remove(devices().addPlainDevice("net", QStringLiteral("wlan0"), {}, vendor));
    }
    QVERIFY(staysAsleep());
    QCOMPARE(discoveries(), 1);
    expectConnections({InfraRed, Modbus, portName()}, InfraRed);
    plugInAdapter(); // a second one, and the program still listens
    QTRY_COMPARE(discoveries(), 2);
    expectConnections({InfraRed, Modbus, portName()}, InfraRed);
}

void SystemDevices::buttonIsLookedAtAfterEachChange()
{
    startProgram();
    chooseImage(QString());
    QTRY_VERIFY(program().updateButton().is(State::Enabled)); // although there is no file
    const QString id = plugInConverter(portName());
    QTRY_VERIFY(!program().updateButton().is(State::Enabled));

    program().fill(program().fileField(), QStringLiteral("typed.INC"));
    QTRY_COMPARE(program().fileField().text(), QStringLiteral("typed.INC"));
    QVERIFY(!program().updateButton().is(State::Enabled));
    devices().remove(id);
    QTRY_VERIFY(program().updateButton().is(State::Enabled));
}

void SystemDevices::updateThroughAPortGoesOn()
{
    constexpr qsizetype Records = 150;
    const PanelProcess panel;
    setAdapters(0);
    plugIn(panel);
    const QByteArray image = rememberImage(Records * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel.waitForRecords(2));
    const QString converter = plugInConverter(other(portName()));
    expectConnections({portName(), other(portName())}, portName());
    const QString adapter = plugInAdapter();
    // From now on the first connection is another one; the update keeps that which it began with.
    QTRY_COMPARE(program().connections(), QStringList({InfraRed, Modbus, portName(), other(portName())}));
    devices().remove(converter);
    QTRY_COMPARE(program().connections(), QStringList({InfraRed, Modbus, portName()}));
    pullOutAdapter(adapter);
    QTRY_COMPARE(program().connections(), QStringList({portName()}));
    QVERIFY(program().isUpdating());
    QVERIFY(program().updateButton().is(State::Enabled));
    waitForEndOfUpdate();
    QCOMPARE(program().boxTexts(), QStringList());
    QCOMPARE(panel.image(), image);
}

void SystemDevices::updateThroughTheAdapterGoesOn()
{
    constexpr qsizetype Records = 150;
    const QString received = filePath(QStringLiteral("received"));
    settings().setValue(QStringLiteral("settings/deviceName"), Modbus);
    const QByteArray image = rememberImage(Records * RecordSize);
    setAdapters(2);
    const QString adapter = devices().addUsbDevice(AdapterVendorId, AdapterProductId);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_RS_IMAGE"), received);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_RS_TIME"), QStringLiteral("50"));
    startProgram();
    pressUpdateButton();
    QTRY_VERIFY(program().percent() > 0);
    for (int time = 0; time < 3; ++time) {
        const QString converter = plugInConverter(portName());
        QTRY_COMPARE(program().connections(), QStringList({InfraRed, Modbus, portName()}));
        devices().remove(converter);
        QTRY_COMPARE(program().connections(), QStringList({InfraRed, Modbus}));
    }
    setAdapters(1); // the one that is not in use
    devices().remove(adapter);
    expectConnections({InfraRed, Modbus}, Modbus);
    QVERIFY(program().isUpdating());
    waitForEndOfUpdate();
    QCOMPARE(program().boxTexts(), QStringList());
    QCOMPARE(readFile(received), image);
}

void SystemDevices::nothingIsDoneInBetween()
{
    setAdapters(0);
    startProgram();
    QVERIFY(staysAsleep());
    const QString converter = plugInConverter(portName());
    expectConnections({portName()}, portName());
    QVERIFY(staysAsleep());
    const QString adapter = plugInAdapter();
    expectConnections({InfraRed, Modbus, portName()}, InfraRed);
    QVERIFY(staysAsleep());
    devices().remove(converter);
    pullOutAdapter(adapter);
    expectNoConnections();
    QVERIFY(staysAsleep());
}

void SystemDevices::withoutDeviceManager()
{
    const QByteArray image = rememberImage(3 * RecordSize);
    const QString received = filePath(QStringLiteral("received"));
    settings().setValue(QStringLiteral("settings/deviceName"), Modbus);
    setAdapters(1);
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_RS_IMAGE"), received);
    const QByteArray root = qgetenv("UMOCKDEV_DIR");
    qputenv("UMOCKDEV_DIR", filePath(QStringLiteral("no devices")).toLocal8Bit());
    startProgram();
    qputenv("UMOCKDEV_DIR", root);
    QTRY_COMPARE(program().printed().count(NotFollowed), 1);
    expectConnections({InfraRed, Modbus}, Modbus);
    pressUpdateButton();
    QTRY_COMPARE(readFile(received), image);
    waitForEndOfUpdate();
    QVERIFY(staysAsleep());
}

QTEST_MAIN(SystemDevices)
#include "tst_devices.moc"
