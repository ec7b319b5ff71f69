// SPDX-License-Identifier: MIT
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"
#include "update/imagefile.h"

#include <QTemporaryDir>

#include <array>
#include <cerrno>

/// Reading a firmware image, and the words where that fails in the same way on every system.
class ImageFileTest : public TestCase
{
    Q_OBJECT

private slots:
    void failedOpenHasTheSystemsWords_data();
    void failedOpenHasTheSystemsWords();
    void openIgnoresAStaleErrorNumber();
    void qtsErrorsHaveTheSystemsNumbers_data();
    void qtsErrorsHaveTheSystemsNumbers();
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

void ImageFileTest::failedOpenHasTheSystemsWords_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");

    const QString missing = QStringLiteral("No such file or directory");
    QTest::newRow("empty name") << QString() << missing;
    QTest::newRow("missing file") << folder.filePath(QStringLiteral("missing.INC")) << missing;
    QTest::newRow("missing folder") << folder.filePath(QStringLiteral("missing/image.INC")) << missing;
    QTest::newRow("folder") << folder.path() << QStringLiteral("Is a directory");
}

void ImageFileTest::failedOpenHasTheSystemsWords()
{
    QFETCH(QString, name);
    ImageFile image(name);
    QVERIFY(!image.open());
    QTEST(image.errorText(), "text");
}

void ImageFileTest::openIgnoresAStaleErrorNumber()
{
    ImageFile image{QString()};
    errno = ENOMEM;
    QVERIFY(!image.open());
    QCOMPARE(image.errorText(), QStringLiteral("No such file or directory"));
}

void ImageFileTest::qtsErrorsHaveTheSystemsNumbers_data()
{
    QTest::addColumn<QFileDevice::FileError>("error");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");

    const QString readable = fileOf("image");
    QTest::newRow("missing") << QFileDevice::OpenError << folder.filePath(QStringLiteral("missing.INC"))
                             << ENOENT;
    QTest::newRow("folder") << QFileDevice::OpenError << folder.path() << EISDIR;
    QTest::newRow("permission") << QFileDevice::PermissionsError << readable << EACCES;
    QTest::newRow("too many files") << QFileDevice::ResourceError << readable << EMFILE;
    QTest::newRow("not opened though readable") << QFileDevice::OpenError << readable << EIO;
    QTest::newRow("read") << QFileDevice::ReadError << readable << EIO;
}

void ImageFileTest::qtsErrorsHaveTheSystemsNumbers()
{
    QFETCH(const QFileDevice::FileError, error);
    QFETCH(const QString, name);
    QTEST(systemErrorOf(error, name), "number");
}

void ImageFileTest::readFillsBlocksToTheEnd()
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

void ImageFileTest::shortReadKeepsTheRestOfTheBlock()
{
    ImageFile image(fileOf("abc"));
    QVERIFY(image.open());
    std::array<std::uint8_t, 5> block{'1', '2', '3', '4', '5'};
    QCOMPARE(image.read(block), 3);
    QCOMPARE(byteArray(block), QByteArray("abc45"));
}

void ImageFileTest::emptyFile()
{
    ImageFile image(fileOf(""));
    QVERIFY(image.open());
    QCOMPARE(image.size(), 0);
    std::array<std::uint8_t, 48> block{};
    QCOMPARE(image.read(block), 0);
}

QTEST_GUILESS_MAIN(ImageFileTest)
#include "tst_imagefile.moc"
