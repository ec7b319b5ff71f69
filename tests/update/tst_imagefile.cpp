// SPDX-License-Identifier: MIT
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"
#include "update/imagefile.h"

#include <QProcess>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>

/// Reading a firmware image, and the system's words where that fails.
class TestImageFile : public TestCase
{
    Q_OBJECT

private slots:
    void failedOpenHasTheSystemsWords_data();
    void failedOpenHasTheSystemsWords();
    void unreadableFile();
    void openFailsWithoutAFreeDescriptor();
    void openIgnoresAStaleErrorNumber();
    void failedReadHasTheSystemsWords();
    void failedReadKeepsTheErrorNumber();
    void readFillsBlocksToTheEnd();
    void shortReadKeepsTheRestOfTheBlock();
    void emptyFile();

private:
    QString fileOf(const QByteArray &content) const
    {
        QFile file(folder.filePath(QStringLiteral("image.INC")));
        [&] { QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size()); }();
        return file.fileName();
    }

    QTemporaryDir folder;
};

void TestImageFile::failedOpenHasTheSystemsWords_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");

    const QString missing = QStringLiteral("No such file or directory");
    QTest::newRow("empty name") << QString() << missing;
    QTest::newRow("missing file") << folder.filePath(QStringLiteral("missing.INC")) << missing;
    QTest::newRow("missing folder") << folder.filePath(QStringLiteral("missing/image.INC")) << missing;
    QTest::newRow("folder") << folder.path() << QStringLiteral("Is a directory");
    QTest::newRow("file as a folder")
        << fileOf("x") + QStringLiteral("/image.INC") << QStringLiteral("Not a directory");
    QTest::newRow("name too long") << folder.filePath(QString(300, u'x'))
                                   << QStringLiteral("File name too long");
    QFile::link(QStringLiteral("loop"), folder.filePath(QStringLiteral("loop")));
    QTest::newRow("link to itself") << folder.filePath(QStringLiteral("loop"))
                                    << QStringLiteral("Too many levels of symbolic links");
}

void TestImageFile::failedOpenHasTheSystemsWords()
{
    QFETCH(QString, name);
    ImageFile image(name);
    QVERIFY(!image.open());
    QTEST(image.errorText(), "text");
}

void TestImageFile::unreadableFile()
{
    const QString name = fileOf("x");
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

void TestImageFile::openFailsWithoutAFreeDescriptor()
{
    const QString name = fileOf("x");
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

void TestImageFile::openIgnoresAStaleErrorNumber()
{
    ImageFile image{QString()};
    errno = ENOMEM;
    QVERIFY(!image.open());
    QCOMPARE(image.errorText(), QStringLiteral("No such file or directory"));
}

void TestImageFile::failedReadHasTheSystemsWords()
{
    // Nothing is mapped at the very start of this process's memory.
    ImageFile image(QStringLiteral("/proc/self/mem"));
    QVERIFY(image.open());
    std::array<std::uint8_t, 32> block{};
    QCOMPARE(image.read(block), -1);
    QCOMPARE(image.errorText(), QStringLiteral("Input/output error"));
}

void TestImageFile::failedReadKeepsTheErrorNumber()
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

void TestImageFile::readFillsBlocksToTheEnd()
{
    const QByteArray content = countingBytes(0, 100);
    ImageFile image(fileOf(content));
    QVERIFY(image.open());
    QCOMPARE(image.size(), 100);
    QByteArray whole;
    QList<qint64> counts;
    do {
        std::array<std::uint8_t, 48> block{};
        counts += image.read(block);
        whole += byteArray(block).left(counts.constLast());
    } while (counts.constLast() > 0);
    QCOMPARE(counts, (QList<qint64>{48, 48, 4, 0}));
    QCOMPARE(whole, content);
}

void TestImageFile::shortReadKeepsTheRestOfTheBlock()
{
    ImageFile image(fileOf("abc"));
    QVERIFY(image.open());
    std::array<std::uint8_t, 5> block{'1', '2', '3', '4', '5'};
    QCOMPARE(image.read(block), 3);
    QCOMPARE(byteArray(block), QByteArray("abc45"));
}

void TestImageFile::emptyFile()
{
    ImageFile image(fileOf(""));
    QVERIFY(image.open());
    QCOMPARE(image.size(), 0);
    std::array<std::uint8_t, 48> block{};
    QCOMPARE(image.read(block), 0);
}

QTEST_GUILESS_MAIN(TestImageFile)
#include "tst_imagefile.moc"
