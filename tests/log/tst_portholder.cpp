// SPDX-License-Identifier: MIT
#include "log/portholder.h"
#include "tests/support/testcase.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <fcntl.h>
#include <grp.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

/// A user that owns nothing and is in no group.
constexpr uid_t Nobody = 65534;

/// A serial port that is none.
class Terminal
{
public:
    Terminal() : master(::posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (::grantpt(master) != 0 || ::unlockpt(master) != 0)
            QTest::qFail("there is no pseudo-terminal", __FILE__, __LINE__);
        path = QFile::decodeName(::ptsname(master));
    }
    ~Terminal() { ::close(master); }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    QString path;

private:
    int master;
};

/// What another process sees of the port: one of Nobody's, in these groups, when this one is the
/// administrator's.
QStringList seenByNobody(const QString &path, gid_t group = Nobody, const std::vector<gid_t> &others = {})
{
    QTemporaryFile seen;
    if (!seen.open())
        QTest::qFail("there is no file", __FILE__, __LINE__);
    const pid_t child = ::fork();
    if (child == 0) {
        if (::getuid() == 0 &&
            (::setgroups(others.size(), others.data()) != 0 || ::setgid(group) != 0 || ::setuid(Nobody) != 0))
            ::_exit(1);
        const QByteArray texts = whyPortIsRefused(path).join(u'\n').toUtf8();
        ::_exit(::write(seen.handle(), texts.constData(), static_cast<std::size_t>(texts.size())) < 0 ? 1
                                                                                                      : 0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    [&] { QCOMPARE(status, 0); }();
    seen.seek(0);
    return QString::fromUtf8(seen.readAll()).split(u'\n');
}

} // namespace

/// Who has a port open, and who may, as Linux shows it.
class PortHolderTest : public TestCase
{
    Q_OBJECT

private slots:
    void aMissingPort();
    void theHolderIsFound();
    void aPortThatNobodyHasOpen();
    void theRightNeedNotComeFromTheGroup();
    void aUserWithoutTheRightIsToldOfTheGroup();
    void halfTheRightIsNone_data();
    void halfTheRightIsNone();
    void theGroupsOfAUser_data();
    void theGroupsOfAUser();
    void aGroupWithoutAName();
    void anotherFileOfTheSameDevice();
};

void PortHolderTest::aMissingPort()
{
    QCOMPARE(whyPortIsRefused(QStringLiteral("ttyNone")),
             QStringList(QStringLiteral("there is no /dev/ttyNone")));
}

void PortHolderTest::theHolderIsFound()
{
    const Terminal terminal;
    QFile port(terminal.path);
    QVERIFY(port.open(QIODevice::ReadWrite));
    const QStringList texts = whyPortIsRefused(terminal.path);
    QCOMPARE(texts.value(0), QStringLiteral("this user may use %1").arg(terminal.path));
    const QString holder = QStringLiteral("process %1, tst_portholder, has %2 open")
                               .arg(QString::number(QCoreApplication::applicationPid()), terminal.path);
    QVERIFY2(texts.contains(holder), qPrintable(texts.join(u'\n')));
}

void PortHolderTest::aPortThatNobodyHasOpen()
{
    const Terminal terminal;
    const QStringList texts = whyPortIsRefused(terminal.path);
    QVERIFY2(
        texts.contains(QStringLiteral("no process that can be looked into has %1 open").arg(terminal.path)),
        qPrintable(texts.join(u'\n')));
}

void PortHolderTest::theRightNeedNotComeFromTheGroup()
{
    const Terminal terminal;
    if (::getuid() == 0) // others cannot give away what is theirs
        QCOMPARE(::chown(QFile::encodeName(terminal.path).constData(), 0, Nobody), 0);
    QCOMPARE(whyPortIsRefused(terminal.path).value(0),
             QStringLiteral("this user may use %1").arg(terminal.path));
}

void PortHolderTest::aUserWithoutTheRightIsToldOfTheGroup()
{
    const Terminal terminal;
    QCOMPARE(::chmod(QFile::encodeName(terminal.path).constData(), 0), 0);
    if (::getuid() != 0) { // the owner is mostly in the group
        QVERIFY(
            whyPortIsRefused(terminal.path).value(0).startsWith(QStringLiteral("this user may not use ")));
        return;
    }
    QFile port(terminal.path);
    QVERIFY(port.open(QIODevice::ReadWrite));
    const QStringList texts = seenByNobody(terminal.path);
    QCOMPARE(texts.value(0), QStringLiteral("this user may not use %1: not in its group %2")
                                 .arg(terminal.path, QFileInfo(terminal.path).group()));
    // The administrator's processes are none of this user's business.
    static const QRegularExpression unseen(
        QStringLiteral("^[1-9]\\d* processes, other users', cannot be looked into$"));
    QVERIFY2(unseen.match(texts.constLast()).hasMatch(), qPrintable(texts.join(u'\n')));
}

void PortHolderTest::halfTheRightIsNone_data()
{
    QTest::addColumn<uint>("mode");
    QTest::newRow("only read") << 0444U;
    QTest::newRow("only written") << 0222U;
}

void PortHolderTest::halfTheRightIsNone()
{
    QFETCH(const uint, mode);
    const Terminal terminal;
    QCOMPARE(::chmod(QFile::encodeName(terminal.path).constData(), mode), 0);
    const QString text = seenByNobody(terminal.path).value(0);
    QVERIFY2(text.startsWith(QStringLiteral("this user may not use ")), qPrintable(text));
}

void PortHolderTest::theGroupsOfAUser_data()
{
    QTest::addColumn<bool>("isOwn");
    QTest::newRow("the user's own") << true;
    QTest::newRow("another of the user's") << false;
}

// Of a port that even its group may not use. Only the administrator can choose a process's groups; anybody
// else's terminal is mostly in a group that its owner is in.
void PortHolderTest::theGroupsOfAUser()
{
    QFETCH(const bool, isOwn);
    const Terminal terminal;
    const QFileInfo info(terminal.path);
    QCOMPARE(::chmod(QFile::encodeName(terminal.path).constData(), 0), 0);
    const QString text = isOwn ? seenByNobody(terminal.path, info.groupId()).value(0)
                               : seenByNobody(terminal.path, Nobody, {1, info.groupId(), 2}).value(0);
    const QString may = QStringLiteral("this user may not use ") + terminal.path;
    if (::getuid() == 0)
        QCOMPARE(text, may + QStringLiteral(", although in its group ") + info.group());
    else
        QVERIFY2(text.startsWith(may), qPrintable(text));
}

void PortHolderTest::aGroupWithoutAName()
{
    constexpr gid_t Nameless = 60'001;
    const Terminal terminal;
    const QByteArray path = QFile::encodeName(terminal.path);
    QCOMPARE(::chmod(path.constData(), 0), 0);
    QString group = QFileInfo(terminal.path).group();
    if (::getuid() == 0) { // others cannot give away what is theirs
        QCOMPARE(::chown(path.constData(), 0, Nameless), 0);
        group = QString::number(Nameless);
    }
    const QString text = seenByNobody(terminal.path).value(0);
    QVERIFY2(text.endsWith(QStringLiteral(" its group ") + group), qPrintable(text));
}

// A terminal's other end is the one device that most systems have two files of.
void PortHolderTest::anotherFileOfTheSameDevice()
{
    const Terminal terminal;
    for (const char *const name : {"/dev/ptmx", "/dev/pts/ptmx"}) {
        const QString path = QString::fromLatin1(name);
        const QString holder = QStringLiteral("process %1, tst_portholder, has %2 open")
                                   .arg(QString::number(QCoreApplication::applicationPid()), path);
        const QStringList texts = whyPortIsRefused(path);
        QVERIFY2(texts.contains(holder), qPrintable(texts.join(u'\n')));
    }
}

QTEST_GUILESS_MAIN(PortHolderTest)
#include "tst_portholder.moc"
