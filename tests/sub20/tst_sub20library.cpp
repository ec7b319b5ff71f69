// SPDX-License-Identifier: MIT
#include "sub20/sub20.h"
#include "tests/support/messagelog.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

/// Finding the adapter's library. A process binds to it once: as long as there is no good library, each test
/// leaves the binding as it was, and the last ones bind.
class Sub20LibraryTest : public TestCase
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void openBeforeASearchFindsNothing();
    void missingLibraryIsNoAdapter();
    void everySearchLooksAgain();
    void currentDirectoryIsNotSearched();
    void textFileIsNoLibrary();
    void libraryForOtherMachinesIsNone();
    void missingSymbolIsNamed_data();
    void missingSymbolIsNamed();
    void goodLibraryIsTakenAtTheNextSearch();
    void libraryStaysWhenItsFileGoes();

private:
    static QString libraryFile() { return QStringLiteral(SUB20_LIBRARY_FOLDER "/libsub20.so"); }
    static QString simulator(const QString &suffix = {})
    {
        return QStringLiteral(SUB20_SIMULATOR_FOLDER) + suffix + QStringLiteral("/libsub20.so");
    }
    static QByteArray content(const QString &name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static void install(const QByteArray &library)
    {
        QFile file(libraryFile());
        QVERIFY(!library.isEmpty());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(library) == library.size());
    }
    /// Searches for an adapter, finds none, and gives the one line that this has to log.
    static QString refusal()
    {
        MessageLog log;
        const sub_device device = Sub20::instance().findDevices(nullptr);
        const QStringList lines = log.take();
        [&] { QCOMPARE(device, sub_device()); }();
        [&] { QCOMPARE(lines.size(), 1); }();
        return lines.value(0);
    }
};

void Sub20LibraryTest::initTestCase()
{
    QCOMPARE(qEnvironmentVariable("LD_LIBRARY_PATH"), QStringLiteral(SUB20_LIBRARY_FOLDER));
    cleanup();
}

void Sub20LibraryTest::cleanup()
{
    QFile::remove(libraryFile());
}

void Sub20LibraryTest::openBeforeASearchFindsNothing()
{
    Sub20 &library = Sub20::instance();
    QCOMPARE(library.librarySource(), QString());
    QCOMPARE(library.open(nullptr), sub_handle());
    QCOMPARE(library.close(&library), Sub20::NotOpen);
    QCOMPARE(library.irConfig(&library, 38000, 10, 1, 10).value, Sub20::NotOpen);
    QCOMPARE(library.irTx(&library, {}).value, Sub20::NotOpen);
    QCOMPARE(library.rsTiming(&library, 2, 0, 0, 0), Sub20::NotOpen);
    QCOMPARE(library.rsXfer(&library, {}, {}).value, Sub20::NotOpen);
    QCOMPARE(library.rsXfer(&library, {}, {}).errorText, QString());
}

void Sub20LibraryTest::missingLibraryIsNoAdapter()
{
    const QString line = refusal();
    QVERIFY2(line.startsWith(QStringLiteral("debug: SUB-20 library not used: ")), qPrintable(line));
    QVERIFY2(line.contains(QStringLiteral("libsub20.so: cannot open shared object file")), qPrintable(line));
    QCOMPARE(Sub20::instance().librarySource(),
             QString(line).replace(QStringLiteral("debug: SUB-20 library not used"), QStringLiteral("none")));
    QCOMPARE(Sub20::instance().open(nullptr), sub_handle());
}

void Sub20LibraryTest::everySearchLooksAgain()
{
    QVERIFY(!refusal().isEmpty());
    QVERIFY(!refusal().isEmpty());
}

void Sub20LibraryTest::currentDirectoryIsNotSearched()
{
    const QTemporaryDir folder;
    QVERIFY(QFile::copy(simulator(), folder.filePath(QStringLiteral("libsub20.so"))));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const QString line = refusal();
    QVERIFY(QDir::setCurrent(before));
    QVERIFY2(line.contains(QStringLiteral("cannot open shared object file")), qPrintable(line));
}

void Sub20LibraryTest::textFileIsNoLibrary()
{
    install("This is no library.\n");
    const QString line = refusal();
    QVERIFY2(line.contains(QStringLiteral("file too short")) ||
                 line.contains(QStringLiteral("invalid ELF header")),
             qPrintable(line));
}

void Sub20LibraryTest::libraryForOtherMachinesIsNone()
{
    QByteArray library = content(simulator());
    QVERIFY(library.startsWith("\x7F"
                               "ELF"));
    constexpr qsizetype ClassOffset = 4;
    constexpr char Class32Bit = 1;
    library[ClassOffset] = Class32Bit;
    install(library);
    const QString line = refusal();
    QVERIFY2(line.contains(QStringLiteral("wrong ELF class")), qPrintable(line));
}

void Sub20LibraryTest::missingSymbolIsNamed_data()
{
    QTest::addColumn<QString>("symbol");

    QTest::newRow("function") << QStringLiteral("sub_ir_tx");
    QTest::newRow("variable") << QStringLiteral("sub_errno");
}

void Sub20LibraryTest::missingSymbolIsNamed()
{
    QFETCH(QString, symbol);
    install(content(simulator(QStringLiteral("_without_") + symbol)));
    const QString line = refusal();
    QVERIFY2(line.endsWith(QStringLiteral("missing symbol ") + symbol), qPrintable(line));
    QCOMPARE(Sub20::instance().open(nullptr), sub_handle());
}

void Sub20LibraryTest::goodLibraryIsTakenAtTheNextSearch()
{
    install(content(simulator()));
    MessageLog log;
    QVERIFY(Sub20::instance().findDevices(nullptr) != nullptr);
    const sub_handle handle = Sub20::instance().open(nullptr);
    QVERIFY(handle != nullptr);
    QCOMPARE(Sub20::instance().close(handle), 0);
    QCOMPARE(Sub20::instance().librarySource(), libraryFile());
    QCOMPARE(log.take(), QStringList());
}

void Sub20LibraryTest::libraryStaysWhenItsFileGoes()
{
    QVERIFY(!QFile::exists(libraryFile()));
    MessageLog log;
    QVERIFY(Sub20::instance().findDevices(nullptr) != nullptr);
    QCOMPARE(log.take(), QStringList());
}

QTEST_GUILESS_MAIN(Sub20LibraryTest)
#include "tst_sub20library.moc"
