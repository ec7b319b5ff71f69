// SPDX-License-Identifier: MIT
#include "tests/system/processfigures.h"
#include "tests/system/systemtest.h"

#include <QSerialPort>
#include <QTest>
#include <QTextStream>

#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>

using State = Accessible::State;

namespace {

constexpr quint16 AdapterVendorId = 0x04D8;
constexpr quint16 AdapterProductId = 0xFFC3;
/// By then everything has been gone through once, so that what is made once is made.
constexpr int WarmUp = 10;
constexpr qint64 MostGrowthKiB = 1024;
/// What has been let go may stay for a while: an idle thread of the pool ends after 30 s.
constexpr int SettlingMs = 45000;
constexpr int PatienceMs = 30000;
/// Whole blocks of infrared frames as well as whole Modbus records.
constexpr qsizetype ImageUnit = 96;
/// Takes a minute at least: time enough to interfere.
constexpr qsizetype LongImage = 16000 * ImageUnit;
/// An update that is to succeed has up to so many units.
constexpr quint32 MostUnits = 16;
/// So many updates come to one replugged adapter.
constexpr quint32 ReplugEvery = 5;

const QString InfraRed = QStringLiteral("InfraRed SUB-20");
const QString Modbus = QStringLiteral("Modbus SUB-20");
const QString HotKey = QStringLiteral("ctrl+shift+bracketright");

/// How an update goes.
enum class Course { Good, Stopped, Refused, PulledOut, Exception, DamagedReply, CutReply, HungUp, Silent };

/// What the panel on the serial line is told to do.
QStringList misbehaviour(Course course)
{
    const QStringList from{QStringLiteral("--from-record"), QStringLiteral("7")};
    switch (course) {
    case Course::Exception:
        return from + QStringList{QStringLiteral("--exception"), QStringLiteral("4")};
    case Course::DamagedReply:
        return from + QStringList{QStringLiteral("--flip-crc")};
    case Course::CutReply:
        return from + QStringList{QStringLiteral("--cut"), QStringLiteral("2")};
    case Course::HungUp:
        return from + QStringList{QStringLiteral("--hang-up")};
    case Course::Silent:
        return from + QStringList{QStringLiteral("--silent")};
    default:
        return {};
    }
}

/// What may happen to an update over a connection once all has happened; more often what stands there twice.
QList<Course> coursesOver(const QString &connection)
{
    QList<Course> courses{Course::Stopped, Course::Refused, Course::PulledOut};
    if (connection == InfraRed || connection == Modbus)
        return courses + QList<Course>(4, Course::Good);
    courses += {Course::Exception, Course::DamagedReply, Course::CutReply, Course::HungUp};
    return courses + courses + courses + QList<Course>(29, Course::Good) + QList<Course>{Course::Silent};
}

int numberFromEnvironment(const char *name, int otherwise)
{
    bool isNumber = false;
    const int number = qEnvironmentVariableIntValue(name, &isNumber);
    return isNumber ? number : otherwise;
}

} // namespace

/// Many updates in one process, over the three connections in turn, with faults by seed, devices that come
/// and go, and trace and log on: nothing grows, and every image that went through is identical.
class Soak : public SystemTest
{
    Q_OBJECT

private slots:
    void updatesLeaveNothingBehind();

private:
    struct Figures
    {
        ProcessFigures process;
        qint64 handles = 0;
    };

    void startOnAllConnections();
    Course courseOf(int update, const QString &connection);
    void writeImage(qsizetype size);
    void oneUpdate(const QString &connection, Course course);
    void updateOverAdapter(const QString &connection, Course course);
    void updateOverSerialPort(Course course);
    /// While an update runs.
    void replugPort();
    /// Presses "Start Update", and waits until the image is where it belongs and the run is over.
    void expectGoodRun(const std::function<QByteArray()> &received);
    void expectStoppedRun() const;
    /// Presses "Start Update", and waits until some of the image is through.
    void startAndWaitForProgress() const;
    void closeBoxAndWaitForEnd() const;
    void plugAdapterIn();
    void pullAdapterOut();
    void expectConnections(const QStringList &names) const;
    void clearTrace() const;
    Figures figures() const;
    bool hasGrown(const Figures &now) const;
    QByteArray adapterLog() const { return readFile(filePath(QStringLiteral("calls"))); }
    qint64 openHandles() const;
    void printFigures(const Figures &now, int updates) const;
    void expectNoGrowth(int updates) const;

    quint32 random(quint32 below) { return static_cast<quint32>(generator() % below); }

    std::mt19937 generator;
    QString adapterId;
    QString portId;
    QByteArray image;
    Figures early;
};

void Soak::startOnAllConnections()
{
    for (const char *const option : {"tell_silent_failures", "port_follows_menu", "log_file"})
        settings().setValue(QStringLiteral("options/") + QLatin1String(option), true);
    for (const char *const kind : {"IR", "RS"}) {
        const QString prefix = QStringLiteral("ZEPHYRIN_SUB20_") + QLatin1String(kind);
        program().setVariable(prefix + QStringLiteral("_IMAGE"), filePath(QLatin1String(kind)));
        program().setVariable(prefix + QStringLiteral("_TIME"), QStringLiteral("1"));
    }
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_LOG"), filePath(QStringLiteral("calls")));
    const PanelProcess panel;
    portId = plugIn(panel);
    rememberImage(ImageUnit);
    plugAdapterIn();
    startProgram();
    expectConnections({InfraRed, Modbus, portName()});
    program().press(HotKey);
    QTRY_VERIFY(program().window(QStringLiteral("Trace")).is(State::Showing));
    program().raise(program().mainWindow());
}

void Soak::writeImage(qsizetype size)
{
    image.resize(size);
    for (char &byte : image)
        byte = static_cast<char>(random(256));
    writeFile(imageFile(), image);
}

void Soak::oneUpdate(const QString &connection, Course course)
{
    writeImage(course == Course::Good ? (1 + random(MostUnits)) * ImageUnit : LongImage);
    program().chooseConnection(connection);
    QTRY_COMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + connection);
    if (connection == portName())
        updateOverSerialPort(course);
    else
        updateOverAdapter(connection, course);
}

void Soak::updateOverAdapter(const QString &connection, Course course)
{
    const QString received = filePath(connection == InfraRed ? QStringLiteral("IR") : QStringLiteral("RS"));
    if (course == Course::Good) {
        expectGoodRun([received] { return readFile(received); });
        return;
    }
    if (course == Course::Stopped) {
        expectStoppedRun();
        return;
    }
    if (course == Course::Refused) {
        setAdapters(0);
        pressUpdateButton();
    } else {
        startAndWaitForProgress();
        pullAdapterOut();
    }
    closeBoxAndWaitForEnd();
    course == Course::Refused ? setAdapters(1) : plugAdapterIn();
    expectConnections({InfraRed, Modbus, portName()});
}

void Soak::updateOverSerialPort(Course course)
{
    auto panel = std::make_optional<PanelProcess>(misbehaviour(course));
    devices().linkNode(portName(), panel->path());
    if (course == Course::Good) {
        expectGoodRun([&panel] { return panel->image(); });
        return;
    }
    if (course == Course::Stopped) {
        expectStoppedRun();
        return;
    }
    if (course == Course::PulledOut) {
        startAndWaitForProgress();
        panel.reset(); // the line is dead
        replugPort();
        return;
    }
    // A port without its device file would not do here: the made-up devices leave a socket behind for each
    // attempt to open one.
    QSerialPort otherUser(portName());
    if (course == Course::Refused)
        QVERIFY(otherUser.open(QIODevice::ReadWrite));
    pressUpdateButton();
    closeBoxAndWaitForEnd();
}

void Soak::replugPort()
{
    devices().remove(portId);
    closeBoxAndWaitForEnd();
    expectConnections({InfraRed, Modbus});
    const PanelProcess panel;
    portId = plugIn(panel);
    expectConnections({InfraRed, Modbus, portName()});
}

void Soak::expectGoodRun(const std::function<QByteArray()> &received)
{
    pressUpdateButton();
    QVERIFY(QTest::qWaitFor([&] { return received() == image || !program().box().isNull(); }, PatienceMs));
    QCOMPARE(received(), image);
    waitForEndOfUpdate();
    QCOMPARE(program().boxTexts(), QStringList());
}

void Soak::expectStoppedRun() const
{
    startAndWaitForProgress();
    pressUpdateButton();
    waitForEndOfUpdate();
}

void Soak::startAndWaitForProgress() const
{
    pressUpdateButton();
    QTRY_VERIFY(program().isUpdating()); // the bar of the run before is empty by then
    QTRY_VERIFY(program().percent() > 0);
}

void Soak::closeBoxAndWaitForEnd() const
{
    QVERIFY(QTest::qWaitFor([this] { return !program().boxTexts().isEmpty(); }, PatienceMs));
    program().closeBox();
    waitForEndOfUpdate();
}

void Soak::plugAdapterIn()
{
    setAdapters(1);
    adapterId = devices().addUsbDevice(AdapterVendorId, AdapterProductId);
}

void Soak::pullAdapterOut()
{
    setAdapters(0);
    devices().remove(adapterId);
}

void Soak::expectConnections(const QStringList &names) const
{
    QVERIFY(QTest::qWaitFor([&] { return program().connections() == names; }, PatienceMs));
}

/// All that was logged stands in it.
void Soak::clearTrace() const
{
    const Accessible trace = program().window(QStringLiteral("Trace"));
    program().raise(trace);
    program().click(trace.first(Accessible::Role::PushButton, QStringLiteral("Clear")));
    QTRY_COMPARE(trace.first(Accessible::Role::Label).text(), QString());
    program().raise(program().mainWindow());
}

qint64 Soak::openHandles() const
{
    std::set<QByteArray> open;
    for (const QByteArray &line : adapterLog().split('\n')) {
        const QList<QByteArray> words = line.split(' '); // sub_open d1 = h1, sub_close h1 = 0
        if (words.value(0) == "sub_open" && words.value(3) != "null")
            open.insert(words.value(3));
        else if (words.value(0) == "sub_close")
            open.erase(words.value(1));
    }
    return static_cast<qint64>(open.size());
}

Soak::Figures Soak::figures() const
{
    return {ProcessFigures::of(program().processId()), openHandles()};
}

bool Soak::hasGrown(const Figures &now) const
{
    return now.process.descriptors > early.process.descriptors ||
           now.process.threads > early.process.threads ||
           now.process.ownKiB > early.process.ownKiB + MostGrowthKiB || now.handles > 0;
}

void Soak::printFigures(const Figures &now, int updates) const
{
    QTextStream out(stdout);
    const auto row = [&](const char *name, qint64 before, qint64 after) {
        out << qSetFieldWidth(30) << Qt::left << name << qSetFieldWidth(12) << Qt::right << before << after
            << qSetFieldWidth(0) << Qt::endl;
    };
    row("after update", WarmUp, updates);
    row("descriptors", early.process.descriptors, now.process.descriptors);
    row("threads", early.process.threads, now.process.threads);
    row("adapter's open handles", early.handles, now.handles);
    row("PSS (KiB)", early.process.shareKiB, now.process.shareKiB);
    row("of it without a file (KiB)", early.process.ownKiB, now.process.ownKiB);
}

Course Soak::courseOf(int update, const QString &connection)
{
    // The first ones go through everything that leaves something behind.
    const QList<Course> warmUp{Course::Good,      Course::Good,      Course::Good,      Course::Refused,
                               Course::PulledOut, Course::Exception, Course::PulledOut, Course::Stopped,
                               Course::PulledOut, Course::Stopped};
    const QList<Course> possible = coursesOver(connection);
    return update < warmUp.size() ? warmUp.at(update)
                                  : possible.at(random(static_cast<quint32>(possible.size())));
}

void Soak::expectNoGrowth(int updates) const
{
    Figures now = figures();
    static_cast<void>(QTest::qWaitFor([&] { return !hasGrown(now = figures()); }, SettlingMs));
    printFigures(now, updates);
    QVERIFY(!hasGrown(now));
    QVERIFY(!adapterLog().contains("misuse"));
}

void Soak::updatesLeaveNothingBehind()
{
    const int updates = qMax(WarmUp + 1, numberFromEnvironment("ZEPHYRIN_SOAK_UPDATES", 50));
    const int seed = numberFromEnvironment("ZEPHYRIN_SOAK_SEED", 1);
    generator.seed(static_cast<quint32>(seed));
    std::map<Course, int> counts;
    startOnAllConnections();
    const QStringList connections{InfraRed, Modbus, portName()};
    for (int i = 0; i < updates && !QTest::currentTestFailed(); ++i) {
        const QString &connection = connections.at(i % connections.size());
        if (random(ReplugEvery) == 0) {
            pullAdapterOut();
            expectConnections({portName()});
            plugAdapterIn();
            expectConnections(connections);
        }
        const Course course = courseOf(i, connection);
        ++counts[course];
        oneUpdate(connection, course);
        if ((i + 1) % WarmUp == 0 || i + 1 == updates)
            clearTrace();
        if (i + 1 == WarmUp)
            early = figures();
    }
    QTextStream(stdout) << "seed " << seed << ": " << updates << " updates, " << counts[Course::Good]
                        << " to their end, " << counts[Course::Stopped] << " stopped, the others failed"
                        << Qt::endl;
    expectNoGrowth(updates);
}

QTEST_MAIN(Soak)
#include "soak.moc"
