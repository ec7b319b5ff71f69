// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "update/checksumfile.h"

#include <QStringEncoder>

namespace {

const QString Name = QStringLiteral("panel.INC");
/// Of "abc" and of nothing, as FIPS 180-4 gives the first.
const QByteArray Abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const QByteArray Nothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

} // namespace

/// The digest that a file of checksums has for a file, in all the ways in which sha256sum writes it.
class ChecksumFileTest : public TestCase
{
    Q_OBJECT

private slots:
    void digestsAreFound_data();
    void digestsAreFound();
    void oddNames_data();
    void oddNames();
    void everyLineOfTheNameCounts();
    void aShellsEncodingIsUnderstood();
};

void ChecksumFileTest::digestsAreFound_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isFound");

    QTest::newRow("text") << Abc + "  panel.INC\n" << true;
    QTest::newRow("binary") << Abc + " *panel.INC\n" << true;
    QTest::newRow("tag") << "SHA256 (panel.INC) = " + Abc + "\n" << true;
    QTest::newRow("CRLF") << Abc + "  panel.INC\r\n" << true;
    QTest::newRow("tag, CRLF") << "SHA256 (panel.INC) = " + Abc + "\r\n" << true;
    QTest::newRow("no line end") << Abc + "  panel.INC" << true;
    QTest::newRow("capitals") << Abc.toUpper() + "  PANEL.inc\n" << true;
    QTest::newRow("second line") << Nothing + "  other.INC\n" + Abc + "  panel.INC\n" << true;
    QTest::newRow("between others") << "# made today\n\nSHA256 (a) = " + Nothing + "\n" + Abc +
                                           " *panel.INC\n" + Nothing + "  panel.INC.old\n"
                                    << true;
    QTest::newRow("folder") << Abc + "  build/panel.INC\n" << true;
    QTest::newRow("folder, capitals") << Abc + "  build/PANEL.inc\n" << true;
    QTest::newRow("folder of Windows") << "\\" + Abc + " *build\\\\panel.INC\n" << true;
    QTest::newRow("alone") << Abc << true;
    QTest::newRow("alone in its line") << "\r\n" + Abc + " \r\n" << true;

    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("another file") << Abc + "  other.INC\n" << false;
    QTest::newRow("a longer name") << Abc + "  my panel.INC\n" << false;
    QTest::newRow("a shorter name") << Abc + "  anel.INC\n" << false;
    QTest::newRow("one blank") << Abc + " panel.INC\n" << false;
    QTest::newRow("a digit too few") << Abc.chopped(1) + "  panel.INC\n" << false;
    QTest::newRow("a digit too many") << Abc + "0  panel.INC\n" << false;
    QTest::newRow("no digit") << QByteArray(Abc).replace('b', 'g') + "  panel.INC\n" << false;
    QTest::newRow("of another kind") << "SHA512 (panel.INC) = " + Abc + "\n" << false;
    QTest::newRow("two alone") << Abc + "\n" + Abc + "\n" << false;
    QTest::newRow("a page") << QByteArray("<html>404</html>\n") << false;
}

void ChecksumFileTest::digestsAreFound()
{
    QFETCH(const QByteArray, text);
    QFETCH(const bool, isFound);
    const QList<QByteArray> found = isFound ? QList{QByteArray::fromHex(Abc)} : QList<QByteArray>();
    QCOMPARE(sha256DigestsFor(Name, text), found);
}

void ChecksumFileTest::oddNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("backslash") << QStringLiteral("a\\b.INC") << "\\" + Abc + "  a\\\\b.INC\n";
    QTest::newRow("line feed") << QStringLiteral("a\nb.INC") << "\\" + Abc + "  a\\nb.INC\n";
    QTest::newRow("carriage return") << QStringLiteral("a\rb.INC") << "\\" + Abc + " *a\\rb.INC\n";
    QTest::newRow("tag") << QStringLiteral("a\nb.INC") << "\\SHA256 (a\\nb.INC) = " + Abc + "\n";
    QTest::newRow("brackets") << QStringLiteral("a) = b.INC") << "SHA256 (a) = b.INC) = " + Abc + "\n";
    QTest::newRow("blanks") << QStringLiteral(" a  b ") << Abc + "   a  b \n";
    QTest::newRow("star") << QStringLiteral("*a") << Abc + " **a\n";
    QTest::newRow("letters") << QStringLiteral("Gerät.INC") << Abc + "  Ger\xc3\xa4t.INC\n";
    QTest::newRow("escape that is none") << QStringLiteral("a\\") << Abc + "  a\\\n";
    QTest::newRow("escape without its letter") << QStringLiteral("a\\") << "\\" + Abc + "  a\\\n";
}

void ChecksumFileTest::oddNames()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, line);
    QCOMPARE(sha256DigestsFor(name, line), QList{QByteArray::fromHex(Abc)});
    QCOMPARE(sha256DigestsFor(Name, line), QList<QByteArray>());
}

void ChecksumFileTest::everyLineOfTheNameCounts()
{
    const QByteArray text = Abc + "  panel.INC\n" + Nothing + "  old/panel.INC\n";
    QCOMPARE(sha256DigestsFor(Name, text), (QList{QByteArray::fromHex(Abc), QByteArray::fromHex(Nothing)}));
}

void ChecksumFileTest::aShellsEncodingIsUnderstood()
{
    const QString line = QString::fromLatin1(Abc) + QStringLiteral(" *panel.INC\r\n");
    for (const auto encoding :
         {QStringConverter::Utf8, QStringConverter::Utf16LE, QStringConverter::Utf16BE}) {
        QStringEncoder encode(encoding, QStringConverter::Flag::WriteBom);
        const QByteArray text = encode(line);
        QCOMPARE(sha256DigestsFor(Name, text), QList{QByteArray::fromHex(Abc)});
    }
}

QTEST_GUILESS_MAIN(ChecksumFileTest)
#include "tst_checksumfile.moc"
