// SPDX-License-Identifier: MIT
#include "log/portholder.h"
#include "tests/support/testcase.h"

namespace {

PortAccess port(bool mayBeUsed, bool isInGroup)
{
    PortAccess access;
    access.path = QStringLiteral("/dev/ttyUSB0");
    access.exists = true;
    access.mayBeUsed = mayBeUsed;
    access.group = QStringLiteral("dialout");
    access.isInGroup = isInGroup;
    return access;
}

} // namespace

/// What is said of a port that cannot be opened.
class PortAccessTest : public TestCase
{
    Q_OBJECT

private slots:
    void aPortThatIsNotThere();
    void rights_data();
    void rights();
    void holdersAreNamed();
    void processesThatCannotBeSeenAreCounted();
};

void PortAccessTest::aPortThatIsNotThere()
{
    PortAccess access;
    access.path = QStringLiteral("/dev/ttyUSB0");
    QCOMPARE(portAccessTexts(access), QStringList(QStringLiteral("there is no /dev/ttyUSB0")));
}

void PortAccessTest::rights_data()
{
    QTest::addColumn<bool>("mayBeUsed");
    QTest::addColumn<bool>("isInGroup");
    QTest::addColumn<QString>("text");
    const QString may = QStringLiteral("this user may use /dev/ttyUSB0");
    QTest::newRow("in the group") << true << true << may;
    QTest::newRow("by another right") << true << false << may;
    QTest::newRow("not in the group")
        << false << false << QStringLiteral("this user may not use /dev/ttyUSB0: not in its group dialout");
    QTest::newRow("in a group without rights")
        << false << true
        << QStringLiteral("this user may not use /dev/ttyUSB0, although in its group dialout");
}

void PortAccessTest::rights()
{
    QFETCH(const bool, mayBeUsed);
    QFETCH(const bool, isInGroup);
    QFETCH(const QString, text);
    QCOMPARE(portAccessTexts(port(mayBeUsed, isInGroup)).value(0), text);
}

void PortAccessTest::holdersAreNamed()
{
    PortAccess access = port(true, true);
    access.holders = {{123, QStringLiteral("ModemManager")}, {4567, QStringLiteral("brltty")}};
    QCOMPARE(portAccessTexts(access).mid(1),
             QStringList({QStringLiteral("process 123, ModemManager, has /dev/ttyUSB0 open"),
                          QStringLiteral("process 4567, brltty, has /dev/ttyUSB0 open")}));
}

void PortAccessTest::processesThatCannotBeSeenAreCounted()
{
    PortAccess access = port(true, true);
    for (const int count : {1, 87}) {
        access.unseenProcesses = count;
        QCOMPARE(
            portAccessTexts(access).mid(1),
            QStringList({QStringLiteral("no process that can be looked into has /dev/ttyUSB0 open"),
                         QStringLiteral("%1 processes, other users', cannot be looked into").arg(count)}));
    }
}

QTEST_GUILESS_MAIN(PortAccessTest)
#include "tst_portaccess.moc"
