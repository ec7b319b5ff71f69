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

/// What another process sees of the port: one of Nobody's when this one is the administrator's.
QStringList seenByNobody(const QString &path)
{
    QTemporaryFile seen;
    if (!seen.open())
        QTest::qFail("there is no file", __FILE__, __LINE__);
    const pid_t child = ::fork();
    if (child == 0) {
        if (::getuid() == 0 &&
            (::setgroups(0, nullptr) != 0 || ::setgid(Nobody) != 0 || ::setuid(Nobody) != 0))
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

QTEST_GUILESS_MAIN(PortHolderTest)
#include "tst_portholder.moc"
