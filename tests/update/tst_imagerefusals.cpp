// SPDX-License-Identifier: MIT
#include "tests/support/drive.h"
#include "tests/support/loaderbench.h"
#include "tests/support/testcase.h"
#include "update/imagecheck.h"
#include "update/imagefile.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <unistd.h>

#include <array>

/// The words of the system where it refuses a firmware image, in ways that only Linux has.
class ImageRefusalsTest : public TestCase
{
    Q_OBJECT

private slots:
    void failedOpenHasTheSystemsWords_data();
    void failedOpenHasTheSystemsWords();
    void unreadableFile();
    void openFailsWithoutAFreeDescriptor();
    void failedReadHasTheSystemsWords();
    void failedReadKeepsTheErrorNumber();
    void anImageThatCannotBeReadIsRefused();
    void aDriveThatFailsInTheMiddleRefuses();
    void aStopEndsTheReading();
    void aChecksumFileThatLeadsNowhereRefuses();

private:
    /// An image of several portions, with its checksum beside it.
    static void setCheckedImage(LoaderBench &bench)
    {
        const QByteArray image(200000, 'x');
        QFile list(bench.setImage(image) + QStringLiteral(".sha256"));
        const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
        QVERIFY(list.open(QIODevice::WriteOnly) && list.write(digest) == digest.size());
        bench.job.checkImage = true;
    }
    QString smallFile() const
    {
        QFile file(folder.filePath(QStringLiteral("image.INC")));
        [&] { QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1); }();
        return file.fileName();
    }

    QTemporaryDir folder;
};

void ImageRefusalsTest::failedOpenHasTheSystemsWords_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");

    QTest::newRow("file as a folder")
        << smallFile() + QStringLiteral("/image.INC") << QStringLiteral("Not a directory");
    QTest::newRow("name too long") << folder.filePath(QString(300, u'x'))
                                   << QStringLiteral("File name too long");
    QFile::link(QStringLiteral("loop"), folder.filePath(QStringLiteral("loop")));
    QTest::newRow("link to itself") << folder.filePath(QStringLiteral("loop"))
                                    << QStringLiteral("Too many levels of symbolic links");
}

void ImageRefusalsTest::failedOpenHasTheSystemsWords()
{
    QFETCH(QString, name);
    ImageFile image(name);
    QVERIFY(!image.open());
    QTEST(image.errorText(), "text");
}

void ImageRefusalsTest::unreadableFile()
{
    const QString name = smallFile();
    QVERIFY(QFile::setPermissions(name, {}));
    // No permission stops root: it steps down for the moment.
    constexpr uid_t Nobody = 65534;
    const uid_t before = geteuid();
    QVERIFY(before != 0 || seteuid(Nobody) == 0);
    ImageFile image(name);
    const bool opened = image.open();
    const QString text = image.errorText();
    QCOMPARE(seteuid(before), 0);
    QVERIFY(QFile::setPermissions(name, QFile::ReadOwner | QFile::WriteOwner));
    QVERIFY(!opened);
    QCOMPARE(text, QStringLiteral("Permission denied"));
}

void ImageRefusalsTest::openFailsWithoutAFreeDescriptor()
{
    const QString name = smallFile();
    rlimit before{};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &none), 0);
    ImageFile image(name);
    const bool opened = image.open();
    const QString text = image.errorText();
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &before), 0);
    QVERIFY(!opened);
    QCOMPARE(text, QStringLiteral("Too many open files"));
}

void ImageRefusalsTest::failedReadHasTheSystemsWords()
{
    // Nothing is mapped at the very start of this process's memory.
    ImageFile image(QStringLiteral("/proc/self/mem"));
    QVERIFY(image.open());
    std::array<std::uint8_t, 32> block{};
    QCOMPARE(image.read(block), -1);
    QCOMPARE(image.errorText(), QStringLiteral("Input/output error"));
}

void ImageRefusalsTest::failedReadKeepsTheErrorNumber()
{
    QProcess process;
    process.start(QStringLiteral("sleep"), {QStringLiteral("600")});
    QVERIFY(process.waitForStarted());
    ImageFile image(QStringLiteral("/proc/%1/stat").arg(process.processId()));
    QVERIFY(image.open());
    process.kill();
    QVERIFY(process.waitForFinished());
    std::array<std::uint8_t, 32> block{};
    QCOMPARE(image.read(block), -1);
    QCOMPARE(image.errorText(), QStringLiteral("No such process"));
}

void ImageRefusalsTest::anImageThatCannotBeReadIsRefused()
{
    LoaderBench bench;
    bench.job.checkImage = true;
    bench.job.imageFileName = QStringLiteral("/proc/self/mem");
    QCOMPARE(checkImage(bench.context(), AnyImageSize), ImageRefused);
    QCOMPARE(bench.events(),
             QStringList(QStringLiteral("errorSignal The image is not sent: it cannot be read to its end: "
                                        "Input/output error")));
}

// It is not taken for an image that is another one.
void ImageRefusalsTest::aDriveThatFailsInTheMiddleRefuses()
{
    LoaderBench bench;
    setCheckedImage(bench);
    {
        const Drive drive(100000);
        QCOMPARE(checkImage(bench.context(), AnyImageSize), ImageRefused);
    }
    QCOMPARE(bench.events(),
             QStringList(QStringLiteral("errorSignal The image is not sent: it cannot be read to its end: "
                                        "Input/output error")));
}

void ImageRefusalsTest::aStopEndsTheReading()
{
    LoaderBench bench;
    setCheckedImage(bench);
    bench.stopRequested = true;
    const Drive drive;
    QCOMPARE(checkImage(bench.context(), AnyImageSize), LoaderFailed);
    QVERIFY2(drive.bytesRead() < 100000, qPrintable(QString::number(drive.bytesRead())));
    bench.stopRequested = false;
    QCOMPARE(checkImage(bench.context(), AnyImageSize), LoaderDone);
    QVERIFY(drive.bytesRead() > 200000);
}

void ImageRefusalsTest::aChecksumFileThatLeadsNowhereRefuses()
{
    LoaderBench bench;
    bench.job.checkImage = true;
    const QString list = bench.setImage("image") + QStringLiteral(".sha256");
    QVERIFY(QFile::link(QStringLiteral("nowhere"), list));
    QCOMPARE(checkImage(bench.context(), AnyImageSize), ImageRefused);
    QCOMPARE(bench.events(), QStringList(QStringLiteral("errorSignal The image is not sent: its checksum "
                                                        "file %1 cannot be read: No such file or directory")
                                             .arg(list)));
}

QTEST_GUILESS_MAIN(ImageRefusalsTest)
#include "tst_imagerefusals.moc"
