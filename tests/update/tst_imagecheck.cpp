// SPDX-License-Identifier: MIT
#include "tests/support/bytes.h"
#include "tests/support/loaderbench.h"
#include "tests/support/testcase.h"
#include "update/imagecheck.h"

#include <QCryptographicHash>
#include <QDir>
#include <QStringEncoder>

namespace {

/// What 65536 records of 32 bytes hold.
constexpr qint64 MostOverModbus = 2097152;

QByteArray utf16(const QString &text)
{
    QStringEncoder encode(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
    return encode(text);
}

} // namespace

/// What is refused as a firmware image, with which words, and that everything else goes through.
class ImageCheckTest : public TestCase
{
    Q_OBJECT

private slots:
    void otherFilesAreRefused_data();
    void otherFilesAreRefused();
    void likelyImagesPass_data();
    void likelyImagesPass();
    void sizesHaveTheirLimit_data();
    void sizesHaveTheirLimit();
    void goodImagesOfEverySizePass();
    void withoutTheOptionNothingIsRead();
    void whatDoesNotOpenIsLeftToTheLoader();
    void theChecksumDecides_data();
    void theChecksumDecides();
    void aChecksumThatCannotBeReadRefuses();
    void aStopEndsItWithoutAWord();

private:
    /// Has the file beside the image hold this.
    static void setChecksum(const LoaderBench &bench, const QByteArray &text)
    {
        QFile file(bench.job.imageFileName + QStringLiteral(".sha256"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
};

void ImageCheckTest::otherFilesAreRefused_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("why");

    const QString page = QStringLiteral("the file is an HTML or XML page");
    QTest::newRow("empty") << QByteArray() << QStringLiteral("the file is empty");
    QTest::newRow("doctype") << QByteArray("<!DOCTYPE html>\n<html>") << page;
    QTest::newRow("doctype in a line of its own") << QByteArray("<!doctype\nhtml>") << page;
    QTest::newRow("html") << QByteArray("<html><body>404") << page;
    QTest::newRow("attribute") << QByteArray("<HTML lang=en>") << page;
    QTest::newRow("empty tag") << QByteArray("<br/>") << page;
    QTest::newRow("comment") << QByteArray("<!-- saved from -->") << page;
    QTest::newRow("XML") << QByteArray("<?xml version=\"1.0\"?><Error>") << page;
    QTest::newRow("any tag") << QByteArray("<ns:Error.1-a>") << page;
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf<html>") << page;
    QTest::newRow("white space") << QByteArray(" \t\r\n\f\v<html>") << page;
    QTest::newRow("both") << QByteArray("\xef\xbb\xbf\r\n\r\n <?xml ") << page;
    QTest::newRow("much white space") << QByteArray(10000, '\n') + "<html>" << page;
    QTest::newRow("UTF-16") << utf16(QStringLiteral("\n<html>")) << page;
    QTest::newRow("UTF-16 without a mark") << utf16(QStringLiteral("<html>")).sliced(2) << page;
    QTest::newRow("ZIP") << QByteArray("PK\x03\x04\x14\0", 6) << QStringLiteral("the file is a ZIP archive");
    QTest::newRow("empty ZIP") << QByteArray("PK\x05\x06\0", 5)
                               << QStringLiteral("the file is a ZIP archive");
    QTest::newRow("ZIP in parts") << QByteArray("PK\x07\x08PK")
                                  << QStringLiteral("the file is a ZIP archive");
    QTest::newRow("gzip") << QByteArray("\x1f\x8b\x08\0", 4)
                          << QStringLiteral("the file is compressed with gzip");
    QTest::newRow("PDF") << QByteArray("%PDF-1.7\n") << QStringLiteral("the file is a PDF document");
    QTest::newRow("ELF") << QByteArray("\x7f"
                                       "ELF\x02\x01")
                         << QStringLiteral("the file is a program for Linux (ELF)");
    QTest::newRow("MZ") << QByteArray("MZ\x90\0\x03", 5)
                        << QStringLiteral("the file is a program for Windows");
}

void ImageCheckTest::otherFilesAreRefused()
{
    QFETCH(const QByteArray, content);
    QFETCH(const QString, why);
    LoaderBench bench;
    bench.job.checkImage = true;
    bench.setImage(content);
    QCOMPARE(checkImage(bench.context(), AnyImageSize), ImageRefused);
    QCOMPARE(bench.events(), QStringList(QStringLiteral("errorSignal The image is not sent: ") + why));
}

void ImageCheckTest::likelyImagesPass_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("zeros") << QByteArray(100, '\0');
    QTest::newRow("erased") << QByteArray(100, '\xff');
    QTest::newRow("white space") << QByteArray(100, ' ');
    QTest::newRow("one byte") << QByteArray("<");
    QTest::newRow("record of hexadecimal digits")
        << QByteArray(":10010000214601360121470136007EFE09D2190140");
    QTest::newRow("angle bracket") << QByteArray("< html>");
    QTest::newRow("tag without an end") << QByteArray("<html");
    QTest::newRow("angle bracket and bytes") << QByteArray("<a\x01\x02>", 5);
    QTest::newRow("other bytes first") << QByteArray("\0<html>", 7);
    QTest::newRow("not quite ZIP") << QByteArray("PK\x03\x05");
    QTest::newRow("not quite gzip") << QByteArray("\x1f\x8b\x07");
    QTest::newRow("not quite ELF") << QByteArray("\x7f"
                                                 "ELE");
    QTest::newRow("not quite PDF") << QByteArray("%PDF");
    QTest::newRow("cut off") << QByteArray("PK\x03");
    QTest::newRow("the mark alone") << QByteArray("\xef\xbb\xbf");
}

void ImageCheckTest::likelyImagesPass()
{
    QFETCH(const QByteArray, content);
    QCOMPARE(imageFault(content, content.size(), MostOverModbus), ImageFault::None);
}

void ImageCheckTest::sizesHaveTheirLimit_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("most");
    QTest::addColumn<bool>("passes");
    QTest::newRow("all records") << MostOverModbus << MostOverModbus << true;
    QTest::newRow("one byte more") << MostOverModbus + 1 << MostOverModbus << false;
    QTest::newRow("no limit") << MostOverModbus + 1 << AnyImageSize << true;
}

void ImageCheckTest::sizesHaveTheirLimit()
{
    QFETCH(const qint64, size);
    QFETCH(const qint64, most);
    QFETCH(const bool, passes);
    LoaderBench bench;
    bench.job.checkImage = true;
    QVERIFY(QFile::resize(bench.setImage("image"), size));
    QCOMPARE(checkImage(bench.context(), most), passes ? LoaderDone : ImageRefused);
    const QStringList refusal{QStringLiteral(
        "errorSignal The image is not sent: it has more than 2097152 bytes, and Modbus cannot number them")};
    QCOMPARE(bench.events(), passes ? QStringList() : refusal);
}

void ImageCheckTest::goodImagesOfEverySizePass()
{
    LoaderBench bench;
    bench.job.checkImage = true;
    for (const int size : {1, 2, 31, 32, 33, 47, 48, 49, 96, 4096, 65535, 65536, 65537, 200000}) {
        bench.setImage(countingBytes(1, size));
        QCOMPARE(checkImage(bench.context(), MostOverModbus), LoaderDone);
    }
    QCOMPARE(bench.events(), QStringList());
}

void ImageCheckTest::withoutTheOptionNothingIsRead()
{
    LoaderBench bench;
    bench.setImage("<html>");
    QCOMPARE(checkImage(bench.context(), 1), LoaderDone);
    QCOMPARE(bench.events(), QStringList());
}

void ImageCheckTest::whatDoesNotOpenIsLeftToTheLoader()
{
    LoaderBench bench;
    bench.job.checkImage = true;
    for (const QString &name : {QString(), bench.path() + QStringLiteral("/missing.INC"), bench.path()}) {
        bench.job.imageFileName = name;
        QCOMPARE(checkImage(bench.context(), AnyImageSize), LoaderDone);
    }
    QCOMPARE(bench.events(), QStringList());
}

void ImageCheckTest::theChecksumDecides_data()
{
    QTest::addColumn<QString>("list"); // %1 the right digest, %2 a wrong one
    QTest::addColumn<QString>("why");  // %1 the list's name

    const QString differs = QStringLiteral("its SHA-256 checksum is not the one in %1");
    const QString missing = QStringLiteral("there is no SHA-256 checksum for it in %1");
    QTest::newRow("right") << QStringLiteral("%1  panel.INC\n") << QString();
    QTest::newRow("right among others") << QStringLiteral("%2  a\nSHA256 (panel.INC) = %1\n") << QString();
    QTest::newRow("right behind many others")
        << QStringLiteral("%2  another.INC\n").repeated(10000) + QStringLiteral("%1  panel.INC\n")
        << QString();
    QTest::newRow("wrong") << QStringLiteral("%2  panel.INC\n%1  other.INC\n") << differs;
    QTest::newRow("right and wrong") << QStringLiteral("%1  panel.INC\n%2  panel.INC\n") << differs;
    QTest::newRow("others alone") << QStringLiteral("%1  other.INC\n") << missing;
    QTest::newRow("nothing in it") << QString() << missing;
    QTest::newRow("no such list") << QStringLiteral("<html>Not found %1</html>") << missing;
}

void ImageCheckTest::theChecksumDecides()
{
    QFETCH(const QString, list);
    QFETCH(const QString, why);
    for (const int size : {1, 65536, 200001}) {
        LoaderBench bench;
        bench.job.checkImage = true;
        const QByteArray image = countingBytes(1, size);
        bench.setImage(image);
        const QByteArray digest = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
        const QByteArray other =
            QCryptographicHash::hash(image.chopped(1), QCryptographicHash::Sha256).toHex();
        setChecksum(bench, list.arg(QString::fromLatin1(digest), QString::fromLatin1(other)).toUtf8());
        QCOMPARE(checkImage(bench.context(), AnyImageSize), why.isEmpty() ? LoaderDone : ImageRefused);
        const QString text = QStringLiteral("errorSignal The image is not sent: ") +
                             why.arg(bench.job.imageFileName + QStringLiteral(".sha256"));
        QCOMPARE(bench.events(), why.isEmpty() ? QStringList() : QStringList(text));
    }
}

void ImageCheckTest::aChecksumThatCannotBeReadRefuses()
{
    LoaderBench bench;
    bench.job.checkImage = true;
    const QString list = bench.setImage("image") + QStringLiteral(".sha256");
    QVERIFY(QDir().mkdir(list));
    QCOMPARE(checkImage(bench.context(), AnyImageSize), ImageRefused);
    QCOMPARE(bench.events().size(), 1);
    const QString text = bench.events().constFirst();
    const QString why =
        QStringLiteral("errorSignal The image is not sent: its checksum file %1 cannot be read: ").arg(list);
    QVERIFY2(text.startsWith(why) && text.size() > why.size(), qPrintable(text));
}

void ImageCheckTest::aStopEndsItWithoutAWord()
{
    LoaderBench bench;
    bench.job.checkImage = true;
    bench.stopRequested = true;
    bench.setImage("<html>");
    QCOMPARE(checkImage(bench.context(), AnyImageSize), LoaderFailed);
    bench.setImage(countingBytes(1, 200000));
    setChecksum(bench, QByteArray(64, '0') + "  panel.INC\n");
    QCOMPARE(checkImage(bench.context(), AnyImageSize), LoaderFailed);
    QCOMPARE(bench.events(), QStringList());
}

QTEST_GUILESS_MAIN(ImageCheckTest)
#include "tst_imagecheck.moc"
