// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"

#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

namespace {

const QString AddressKey = QStringLiteral("settings/address");
const QString FileNameKey = QStringLiteral("settings/filename");

} // namespace

/// What the settings file brings into the window, and what the window writes into it.
class SettingsTest : public TestCase
{
    Q_OBJECT

private slots:
    void theFirstStart();
    void theFirstStartLeavesExactlyOneKey();
    void storedValuesAreTaken();
    void aStartChangesNoStoredFile();
    void theEndChangesNoStoredFile();
    void theFileLiesInItsOwnFolder();

    void shownAddress_data();
    void shownAddress();
    void anAddressThatCannotBeShownStaysUntilTheBoxChanges();
    void steppingSkipsTheHexadecimalLetters();
    void everyStepIsOnDiskAtOnce();
    void addressText_data();
    void addressText();

    void connectionTypeText_data();
    void connectionTypeText();
    void theConnectionTypeCanBeReadAgain();

    void aDeletedImageIsStillShown();
    void imageNamesSurviveTheFile_data();
    void imageNamesSurviveTheFile();
    void aRelativeImageNameLiesInTheCurrentFolder();

    void aDamagedFile_data();
    void aDamagedFile();
    void aFileThatCannotBeUsed_data();
    void aFileThatCannotBeUsed();

private:
    void writeRaw(const WindowBench &bench, const QByteArray &content);
    QByteArray readRaw(const WindowBench &bench);
    /// Starts the window, which takes every value as missing, works, and says nothing.
    void startWithoutValues(WindowBench &bench);
};

void SettingsTest::writeRaw(const WindowBench &bench, const QByteArray &content)
{
    QVERIFY(QDir().mkpath(QFileInfo(bench.settings.file()).path()));
    QFile file(bench.settings.file());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

QByteArray SettingsTest::readRaw(const WindowBench &bench)
{
    QFile file(bench.settings.file());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void SettingsTest::theFirstStart()
{
    WindowBench bench;
    bench.start();
    const WindowProbe probe = bench.probe();
    QCOMPARE(probe.connectionType(), 0);
    QCOMPARE(probe.portName(), QString());
    QCOMPARE(probe.deviceName(), QString());
    QCOMPARE(probe.deviceAddress(), 80);
    QCOMPARE(probe.imageFileName(), QString());
    QCOMPARE(probe.imageDirectory(), QString());
    QCOMPARE(probe.sub20Handle(), nullptr);
    QVERIFY(!probe.stopRequested());
    QCOMPARE(bench.widget<QSpinBox>("spinBoxAdress")->text(), QStringLiteral("0x50"));
    QCOMPARE(bench.widget<QLineEdit>("lineEdit")->text(), QString());
    QVERIFY(!bench.widget<QPushButton>("updBtn")->isEnabled());
}

void SettingsTest::theFirstStartLeavesExactlyOneKey()
{
    WindowBench bench;
    QVERIFY(!QFile::exists(bench.settings.file()));
    bench.start();
    QCOMPARE(bench.settings.keys(), QStringList({AddressKey}));
    QCOMPARE(readRaw(bench).replace("\r\n", "\n"), QByteArray("[settings]\naddress=80\n"));
}

void SettingsTest::storedValuesAreTaken()
{
    WindowBench bench;
    const QString image = bench.makeImage("image");
    writeRaw(bench, "[settings]\nconnection_type=2\nport=COM7\ndeviceName=COM8\naddress=23\nfilename=" +
                        image.toUtf8() + "\n");
    bench.start();
    const WindowProbe probe = bench.probe();
    QCOMPARE(probe.connectionType(), 2);
    QCOMPARE(probe.deviceName(), QStringLiteral("COM8"));
    QCOMPARE(probe.deviceAddress(), 23);
    QCOMPARE(probe.imageFileName(), image);
    QCOMPARE(probe.imageDirectory(), bench.path());
    QCOMPARE(bench.widget<QSpinBox>("spinBoxAdress")->text(), QStringLiteral("0x17"));
    QCOMPARE(bench.widget<QLineEdit>("lineEdit")->text(), image);
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
}

void SettingsTest::aStartChangesNoStoredFile()
{
    WindowBench bench;
    const QByteArray content = "; by hand\n[settings]\naddress=26\nfilename=/a.INC\nother=1\n";
    writeRaw(bench, content);
    bench.start();
    QCOMPARE(readRaw(bench), content);
}

void SettingsTest::theEndChangesNoStoredFile()
{
    WindowBench bench;
    bench.start();
    const QByteArray content = "[settings]\naddress=17\n";
    writeRaw(bench, content);
    bench.close();
    QCOMPARE(readRaw(bench), content);
}

void SettingsTest::theFileLiesInItsOwnFolder()
{
    WindowBench bench;
    bench.start();
    const QDir folder(bench.settings.path());
    QCOMPARE(folder.entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList({QStringLiteral("Norvantic")}));
    QCOMPARE(QDir(folder.filePath(QStringLiteral("Norvantic"))).entryList(QDir::Files),
             QStringList({QStringLiteral("Quorlin.ini")}));
}

void SettingsTest::shownAddress_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<int>("address");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *stored, int address, const char *shown) {
        QTest::newRow(stored) << QByteArray(stored) << address << QString::fromLatin1(shown);
    };
    row("80", 80, "0x50");
    row("0", 0, "0x0");
    row("1", 1, "0x1");
    row("9", 9, "0x9");
    row("10", 10, "0x0");
    row("16", 16, "0x10");
    row("26", 26, "0x0");
    row("89", 89, "0x59");
    row("96", 96, "0x60");
    row("153", 153, "0x99");
    row("154", 154, "0x0");
    row("160", 160, "0x0");
    row("256", 256, "0x99");
    row("-1", -1, "0x0");
    row("2147483647", 2147483647, "0x0");
    row("2147483648", -2147483648, "0x99"); // Qt keeps the low 32 bits
    row("99999999999999999999", 0, "0x0");
    row("0x50", 0, "0x0");
    row("eighty", 0, "0x0");
    row("true", 0, "0x0");
    row("80, 81", 0, "0x0");
    row("@ByteArray(80)", 80, "0x50");
    row("@Invalid()", 80, "0x50");
}

void SettingsTest::shownAddress()
{
    QFETCH(const QByteArray, stored);
    QFETCH(const int, address);
    WindowBench bench;
    writeRaw(bench, "[settings]\naddress=" + stored + "\n");
    bench.start();
    QCOMPARE(bench.probe().deviceAddress(), address);
    QTEST(bench.widget<QSpinBox>("spinBoxAdress")->text(), "shown");
}

void SettingsTest::anAddressThatCannotBeShownStaysUntilTheBoxChanges()
{
    WindowBench bench;
    bench.settings.setValue(AddressKey, 26);
    bench.start();
    QCOMPARE(bench.widget<QSpinBox>("spinBoxAdress")->text(), QStringLiteral("0x0"));
    QCOMPARE(bench.probe().deviceAddress(), 26);
    QCOMPARE(bench.settings.value(AddressKey).toInt(), 26);
    bench.widget<QSpinBox>("spinBoxAdress")->stepUp();
    QCOMPARE(bench.probe().deviceAddress(), 1);
    QCOMPARE(bench.settings.value(AddressKey).toInt(), 1);
}

void SettingsTest::steppingSkipsTheHexadecimalLetters()
{
    WindowBench bench;
    bench.start();
    auto *const box = bench.widget<QSpinBox>("spinBoxAdress");
    box->setValue(59);
    QCOMPARE(bench.settings.value(AddressKey).toInt(), 89);
    box->stepUp();
    QCOMPARE(box->text(), QStringLiteral("0x60"));
    QCOMPARE(bench.probe().deviceAddress(), 96);
    QCOMPARE(bench.settings.value(AddressKey).toInt(), 96);
    box->stepDown();
    QCOMPARE(bench.probe().deviceAddress(), 89);
}

void SettingsTest::everyStepIsOnDiskAtOnce()
{
    WindowBench bench;
    bench.start();
    auto *const box = bench.widget<QSpinBox>("spinBoxAdress");
    for (int value = 0; value <= 99; ++value) {
        box->setValue(value);
        QCOMPARE(bench.settings.value(AddressKey).toInt(), QString::number(value).toInt(nullptr, 16));
    }
}

void SettingsTest::addressText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("address");
    const auto row = [](const char *text, int address) {
        QTest::newRow(text) << QString::fromLatin1(text) << address;
    };
    row("0x50", 80);
    row("0x0", 0);
    row("0x99", 153);
    row("50", 80);
    row("0x1A", 26);
    row("0xff", 255);
    row("0x", 0);
    row("", 0);
    row("0x5 0", 0);
    row("address", 0);
    row("0x7fffffff", 2147483647);
    row("0x80000000", 0);
    row("0x123456789abcdef", 0);
}

void SettingsTest::addressText()
{
    QFETCH(const QString, text);
    QFETCH(const int, address);
    WindowBench bench;
    bench.start().setAddress(text);
    QCOMPARE(bench.probe().deviceAddress(), address);
    QCOMPARE(bench.settings.value(AddressKey), QVariant(QString::number(address)));
}

void SettingsTest::connectionTypeText_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<int>("type");
    QTest::newRow("infrared") << QByteArray("1") << 1;
    QTest::newRow("no such type") << QByteArray("77") << 77;
    QTest::newRow("negative") << QByteArray("-3") << -3;
    QTest::newRow("text") << QByteArray("COM") << 0;
    QTest::newRow("empty") << QByteArray() << 0;
    QTest::newRow("huge") << QByteArray("99999999999999999999") << 0;
}

void SettingsTest::connectionTypeText()
{
    QFETCH(const QByteArray, stored);
    WindowBench bench;
    writeRaw(bench, "[settings]\nconnection_type=" + stored + "\n");
    bench.start();
    QTEST(bench.probe().connectionType(), "type");
}

void SettingsTest::theConnectionTypeCanBeReadAgain()
{
    WindowBench bench;
    bench.start();
    bench.settings.setValue(QStringLiteral("settings/connection_type"), 3);
    QCOMPARE(bench.probe().connectionType(), 0);
    bench.probe().readConnectionType();
    QCOMPARE(bench.probe().connectionType(), 3);
}

void SettingsTest::aDeletedImageIsStillShown()
{
    WindowBench bench;
    const QString image = bench.path() + QStringLiteral("/deleted/panel.INC");
    bench.settings.setValue(FileNameKey, image);
    bench.start();
    QCOMPARE(bench.widget<QLineEdit>("lineEdit")->text(), image);
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
    QCOMPARE(bench.probe().imageDirectory(), bench.path() + QStringLiteral("/deleted"));
}

void SettingsTest::imageNamesSurviveTheFile_data()
{
    QTest::addColumn<QString>("name");
    for (const char *const name :
         {"plain.INC", "a, b.INC", "a;b=c.INC", "\"quoted\".INC", "%2 %1.INC", "Gerät €.INC", " blank .INC"})
        QTest::newRow(name) << QString::fromUtf8(name);
    if (QDir::separator() != u'\\')
        QTest::newRow("back\\slash.INC") << QStringLiteral("back\\slash.INC");
}

void SettingsTest::imageNamesSurviveTheFile()
{
    QFETCH(const QString, name);
    const QString folder = QDir::rootPath() + QStringLiteral("images");
    const QString path = folder + u'/' + name;
    WindowBench bench;
    bench.settings.setValue(FileNameKey, path);
    bench.start();
    QCOMPARE(bench.probe().imageFileName(), path);
    QCOMPARE(bench.widget<QLineEdit>("lineEdit")->text(), path);
    QCOMPARE(bench.probe().imageDirectory(), folder);
}

void SettingsTest::aRelativeImageNameLiesInTheCurrentFolder()
{
    WindowBench bench;
    bench.settings.setValue(FileNameKey, QStringLiteral("panel.INC"));
    bench.start();
    QCOMPARE(bench.probe().imageFileName(), QStringLiteral("panel.INC"));
    QCOMPARE(bench.probe().imageDirectory(), QDir::currentPath());
}

void SettingsTest::startWithoutValues(WindowBench &bench)
{
    const MessageLog log;
    const MessageBoxes boxes;
    bench.start();
    QCOMPARE(bench.probe().connectionType(), 0);
    QCOMPARE(bench.probe().deviceName(), QString());
    QCOMPARE(bench.probe().imageFileName(), QString());
    QCOMPARE(bench.probe().deviceAddress(), 80);
    bench.widget<QSpinBox>("spinBoxAdress")->setValue(17);
    QCOMPARE(bench.probe().deviceAddress(), 23);
    QCOMPARE(log.texts().filter(QStringLiteral("SUB-20 library")), log.texts());
    QVERIFY(boxes.contents().isEmpty());
}

void SettingsTest::aDamagedFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QByteArray allBytes;
    for (int value = 0; value < 256; ++value)
        allBytes += static_cast<char>(value);
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("every byte") << allBytes + allBytes;
    QTest::newRow("no section") << QByteArray("address=81\n");
    QTest::newRow("another section") << QByteArray("[Settings2]\naddress=81\n");
    QTest::newRow("cut off") << QByteArray("[settings");
    QTest::newRow("no value") << QByteArray("[settings]\naddress");
    QTest::newRow("zeros") << QByteArray(4096, '\0');
}

void SettingsTest::aDamagedFile()
{
    QFETCH(const QByteArray, content);
    WindowBench bench;
    writeRaw(bench, content);
    startWithoutValues(bench);
}

void SettingsTest::aFileThatCannotBeUsed_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("a folder in its place") << QStringLiteral("folder");
    QTest::newRow("a file in its folder's place") << QStringLiteral("file");
    QTest::newRow("no place for its folder") << QStringLiteral("no place");
}

void SettingsTest::aFileThatCannotBeUsed()
{
    QFETCH(const QString, obstacle);
    WindowBench bench;
    if (obstacle == QStringLiteral("folder")) {
        QVERIFY(QDir().mkpath(bench.settings.file()));
    } else if (obstacle == QStringLiteral("file")) {
        QFile file(bench.settings.path() + QStringLiteral("/Norvantic"));
        QVERIFY(file.open(QIODevice::WriteOnly));
    } else {
        // Not even the superuser can make a folder in a file.
        QFile file(bench.settings.path() + QStringLiteral("/file"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, file.fileName());
    }
    startWithoutValues(bench);
    QVERIFY(!QFileInfo(bench.settings.file()).isFile());
}

QTEST_MAIN(SettingsTest)
#include "tst_settings.moc"
