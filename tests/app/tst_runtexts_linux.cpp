// SPDX-License-Identifier: MIT
#include "app/runtexts.h"
#include "tests/support/drive.h"
#include "tests/support/testcase.h"

#include <QFile>
#include <QTemporaryDir>

#include <sys/resource.h>

/// What the log file says of an image that Linux cannot read, or not to its end.
class RunTextsLinuxTest : public TestCase
{
    Q_OBJECT

private slots:
    void initTestCase();
    void anImageThatCannotBeOpened();
    void aDriveThatFailsInTheMiddle();
    void aStopEndsTheReading();

private:
    QTemporaryDir folder;
    QFile image{folder.filePath(QStringLiteral("panel.INC"))};
};

void RunTextsLinuxTest::initTestCase()
{
    QVERIFY(image.open(QIODevice::WriteOnly) && image.resize(5'000'000));
    image.close();
}

void RunTextsLinuxTest::anImageThatCannotBeOpened()
{
    rlimit before{};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const ImageFacts facts = lookAtImage(image.fileName(), false);
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &before), 0);
    QCOMPARE(facts.problem, QStringLiteral("Too many open files"));
}

void RunTextsLinuxTest::aDriveThatFailsInTheMiddle()
{
    const Drive drive(3'000'000);
    QCOMPARE(lookAtImage(image.fileName(), false).problem, QStringLiteral("Input/output error"));
}

void RunTextsLinuxTest::aStopEndsTheReading()
{
    const Drive drive;
    QCOMPARE(lookAtImage(image.fileName(), true).problem, QStringLiteral("the run was stopped"));
    QCOMPARE(drive.bytesRead(), std::size_t{0});
    QCOMPARE(lookAtImage(image.fileName(), false).problem, QString());
    QCOMPARE(drive.bytesRead(), std::size_t{5'000'000});
}

QTEST_GUILESS_MAIN(RunTextsLinuxTest)
#include "tst_runtexts_linux.moc"
