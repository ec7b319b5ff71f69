// SPDX-License-Identifier: MIT
#include "app/stayawake.h"
#include "tests/app/awakepath.h"
#include "tests/support/hangingbus.h"
#include "tests/support/loginmanager.h"
#include "tests/support/messagelog.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>

#include <memory>

namespace {

const QString Everything = QStringLiteral("sleep:idle:handle-lid-switch:shutdown");
const QStringList Parts = Everything.split(u':');
const QString Complaint = QStringLiteral("The computer may fall asleep during the update: ");

QString requestFor(const QString &parts)
{
    return parts + QStringLiteral(", Zephyrin Update Utility, A firmware update is running, block");
}

/// What the program has logged of its own accord about the computer's sleep.
QStringList complaints(const MessageLog &log)
{
    return log.texts().filter(Complaint);
}

std::unique_ptr<StayAwake> makeAwake()
{
    static QWidget window;
    return makeStayAwake(window);
}

} // namespace

/// The locks of the login manager, made up on a bus of its own: what is asked for, what is kept, and that it
/// is given back; and buses that are of no use.
class LoginLocksTest : public TestCase
{
    Q_OBJECT

private slots:
    void initTestCase();
    void oneLockFromTheStartToTheEnd_data();
    void oneLockFromTheStartToTheEnd();
    void eachRunTakesItsOwn();
    void aSecondHoldTakesNoSecondLock();
    void whatIsRefusedIsLeftOut_data();
    void whatIsRefusedIsLeftOut();
    void nothingIsGranted();
    void aLateLockIsGivenBackAtOnce();
    void aLateRefusalAsksForNothingMore();
    void aLateLockOfARunBeforeIsNotKept();
    void withoutALoginManagerOneLineSaysSo();
    void withoutABusOneLineSaysSo_data();
    void withoutABusOneLineSaysSo();
    void aBusThatComesBackIsFound();
    void aBusThatHangsHoldsNothingUp();
    void aBusThatHangsIsConnectedToOnce();
    void theBusIsLeftAtTheEnd();
};

void LoginLocksTest::initTestCase()
{
    // As the window does.
    QCoreApplication::setApplicationName(QStringLiteral("Zephyrin Update Utility"));
}

void LoginLocksTest::oneLockFromTheStartToTheEnd_data()
{
    QTest::addColumn<bool>("hasLock");
    for (const QString &path : AwakePaths)
        QTest::newRow(qPrintable(path)) << (path != QStringLiteral("refused image"));
}

void LoginLocksTest::oneLockFromTheStartToTheEnd()
{
    QFETCH(const bool, hasLock); // a run may be over before the lock is there
    const LoginManager login;
    SimulatedAdapter adapter;
    FakeHardware devices(adapter.binding());
    Hardware hardware = devices.hardware();
    hardware.stayAwake = makeStayAwake;
    WindowBench bench(hardware);
    const MessageLog log;
    walk(QString::fromLatin1(QTest::currentDataTag()), bench, adapter, [&] {
        if (hasLock)
            QTRY_COMPARE(login.held(), QStringList(Everything));
    });
    QTRY_COMPARE(login.held(), QStringList());
    QTRY_COMPARE(login.requests(), QStringList(requestFor(Everything)));
    QTRY_COMPARE(login.granted(), QStringList(Everything));
    QTRY_COMPARE(login.held(), QStringList());
    QCOMPARE(complaints(log), QStringList());
}

void LoginLocksTest::eachRunTakesItsOwn()
{
    const LoginManager login;
    const std::unique_ptr<StayAwake> awake = makeAwake();
    for (int run = 1; run <= 3; ++run) {
        awake->hold();
        QTRY_COMPARE(login.granted().size(), run);
        QCOMPARE(login.held(), QStringList(Everything));
        awake->release();
        QTRY_COMPARE(login.held(), QStringList());
    }
}

void LoginLocksTest::aSecondHoldTakesNoSecondLock()
{
    const LoginManager login;
    const std::unique_ptr<StayAwake> awake = makeAwake();
    awake->release();
    awake->hold();
    awake->hold();
    QTRY_COMPARE(login.held(), QStringList(Everything));
    awake->release();
    awake->release();
    QTRY_COMPARE(login.held(), QStringList());
    awake->hold();
    QTRY_COMPARE(login.held(), QStringList(Everything));
    QCOMPARE(login.requests().size(), 2);
}

void LoginLocksTest::whatIsRefusedIsLeftOut_data()
{
    QTest::addColumn<QStringList>("refused");
    for (const QString &part : Parts)
        QTest::newRow(qPrintable(part)) << QStringList(part);
    QTest::newRow("two") << QStringList{QStringLiteral("handle-lid-switch"), QStringLiteral("shutdown")};
    QTest::newRow("three") << Parts.sliced(1);
}

void LoginLocksTest::whatIsRefusedIsLeftOut()
{
    QFETCH(const QStringList, refused);
    QStringList rest = Parts;
    QStringList requests{requestFor(Everything)};
    for (const QString &part : Parts) {
        requests += requestFor(part);
        if (refused.contains(part))
            rest.removeAll(part);
    }
    const MessageLog log;
    LoginManager login;
    login.refuse(refused);
    const std::unique_ptr<StayAwake> awake = makeAwake();
    awake->hold();
    QTRY_COMPARE(login.held(), rest);
    QTRY_COMPARE(complaints(log),
                 QStringList(Complaint + refused.join(u':') + QStringLiteral(" Not from far away")));
    QCOMPARE(login.requests(), requests);
    awake->release();
    QTRY_COMPARE(login.held(), QStringList());
    QCOMPARE(login.granted(), rest);
}

void LoginLocksTest::nothingIsGranted()
{
    const MessageLog log;
    LoginManager login;
    login.refuse(Parts);
    const std::unique_ptr<StayAwake> awake = makeAwake();
    awake->hold();
    QTRY_COMPARE(complaints(log), QStringList(Complaint + Everything + QStringLiteral(" Not from far away")));
    QCOMPARE(login.requests().size(), 1 + Parts.size());
}

void LoginLocksTest::aLateLockIsGivenBackAtOnce()
{
    LoginManager login;
    login.keepWaiting();
    const std::unique_ptr<StayAwake> awake = makeAwake();
    awake->hold();
    QTRY_COMPARE(login.requests().size(), 1);
    awake->release();
    login.answerAll();
    QCOMPARE(login.granted(), QStringList(Everything));
    QTRY_COMPARE(login.held(), QStringList());
}

void LoginLocksTest::aLateRefusalAsksForNothingMore()
{
    const MessageLog log;
    LoginManager login;
    login.refuse({QStringLiteral("idle")});
    login.keepWaiting();
    const std::unique_ptr<StayAwake> awake = makeAwake();
    awake->hold();
    QTRY_COMPARE(login.requests().size(), 1);
    awake->release();
    login.answerAll();
    login.refuse({});
    awake->hold(); // is answered behind it
    QTRY_COMPARE(login.requests().size(), 2);
    login.answerAll();
    QTRY_COMPARE(login.held(), QStringList(Everything));
    QCOMPARE(login.requests(), QStringList(2, requestFor(Everything)));
    QCOMPARE(complaints(log), QStringList());
}

void LoginLocksTest::aLateLockOfARunBeforeIsNotKept()
{
    LoginManager login;
    login.keepWaiting();
    const std::unique_ptr<StayAwake> awake = makeAwake();
    awake->hold();
    awake->release();
    awake->hold();
    QTRY_COMPARE(login.requests().size(), 2);
    login.answerAll();
    QCOMPARE(login.granted().size(), 2);
    QTRY_COMPARE(login.held().size(), 1);
    awake->release();
    QTRY_COMPARE(login.held(), QStringList());
}

void LoginLocksTest::withoutALoginManagerOneLineSaysSo()
{
    const MessageLog log;
    LoginManager login;
    login.leave();
    const std::unique_ptr<StayAwake> awake = makeAwake();
    awake->hold();
    QTRY_COMPARE(complaints(log).size(), 1);
    QVERIFY2(complaints(log).constFirst().contains(QStringLiteral("org.freedesktop.login1")),
             qPrintable(complaints(log).constFirst()));
    awake->release();
}

void LoginLocksTest::withoutABusOneLineSaysSo_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::newRow("no socket") << QByteArray("unix:path=/nowhere/bus");
    QTest::newRow("no address") << QByteArray("nonsense");
    QTest::newRow("nothing") << QByteArray("");
}

void LoginLocksTest::withoutABusOneLineSaysSo()
{
    QFETCH(const QByteArray, address);
    const QByteArray before = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
    const MessageLog log;
    const std::unique_ptr<StayAwake> awake = makeAwake();
    for (int run = 1; run <= 2; ++run) {
        awake->hold();
        QTRY_COMPARE(complaints(log).size(), run);
        QVERIFY2(complaints(log).constLast().startsWith(Complaint + Everything),
                 qPrintable(complaints(log).constLast()));
        awake->release();
    }
    QCOMPARE(log.texts().size(), 2);
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", before);
}

void LoginLocksTest::aBusThatComesBackIsFound()
{
    const MessageLog log;
    const std::unique_ptr<StayAwake> awake = makeAwake();
    for (int i = 0; i < 2; ++i) {
        const LoginManager login;
        awake->hold();
        QTRY_COMPARE(login.held(), QStringList(Everything));
        awake->release();
        QTRY_COMPARE(login.held(), QStringList());
    }
    QCOMPARE(complaints(log), QStringList());
}

// The bus says nothing for as long as the test runs: what waited for it would wait for half a minute.
void LoginLocksTest::aBusThatHangsHoldsNothingUp()
{
    constexpr int AtOnceMs = 5000;
    const HangingBus bus;
    SimulatedAdapter adapter;
    FakeHardware devices(adapter.binding());
    Hardware hardware = devices.hardware();
    hardware.stayAwake = makeStayAwake;
    WindowBench bench(hardware);
    bench.start(ModbusText, QByteArray(96, 'x'));
    QElapsedTimer timer;
    timer.start();
    for (int run = 0; run < 2; ++run) {
        bench.press();
        QVERIFY(bench.waitForEnd());
        QCOMPARE(bench.probe().future().result(), 0);
    }
    QTRY_VERIFY(bus.isAsked());
    bench.press();
    bench.close();
    QCOMPARE_LT(timer.elapsed(), AtOnceMs);
}

void LoginLocksTest::aBusThatHangsIsConnectedToOnce()
{
    HangingBus bus;
    const std::unique_ptr<StayAwake> awake = makeAwake();
    for (int run = 0; run < 5; ++run) {
        awake->hold();
        awake->release();
    }
    QTRY_COMPARE(bus.visitors(), 1);
    QTest::qWait(200); // nobody must come
    QCOMPARE(bus.visitors(), 1);
}

void LoginLocksTest::theBusIsLeftAtTheEnd()
{
    HangingBus bus;
    std::unique_ptr<StayAwake> awake = makeAwake();
    awake->hold();
    QTRY_COMPARE(bus.visitors(), 1);
    QVERIFY(!bus.isLeft());
    awake.reset();
    QTRY_VERIFY(bus.isLeft());
}

QTEST_MAIN(LoginLocksTest)
#include "tst_loginlocks_linux.moc"
