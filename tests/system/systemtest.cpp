// SPDX-License-Identifier: MIT
#include "tests/system/systemtest.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTest>

namespace {

constexpr quint16 ConverterVendorId = 0x0403;
constexpr int UpdateTimeoutMs = 60000;

} // namespace

void SystemTest::initTestCase()
{
    desktop = std::make_unique<Desktop>();
}

void SystemTest::init()
{
    person = std::make_unique<Person>(*desktop);
}

void SystemTest::cleanup()
{
    if (!QTest::currentTestFailed())
        endWell();
    if (QTest::currentTestFailed())
        leaveTraces();
    person.reset();
}

void SystemTest::endWell() const
{
    if (program().processId() != 0)
        QCOMPARE(program().close(EndTimeoutMs), ExitCodeOfSuccess);
    QVERIFY(!program().printed().contains(QStringLiteral("QObject::")));
}

void SystemTest::leaveTraces() const
{
    const QString name = QStringLiteral("%1-%2.png")
                             .arg(QString::fromLatin1(metaObject()->className()),
                                  QString::fromLatin1(QTest::currentTestFunction()));
    const QDir folder(QStringLiteral(FAILURE_PICTURES));
    folder.mkpath(QStringLiteral("."));
    desktop->picture().save(folder.filePath(name));
    qInfo().noquote() << "the program printed:" << program().printed();
}

void SystemTest::cleanupTestCase()
{
    desktop.reset();
}

QString SystemTest::portName()
{
    return QStringLiteral("ttyUSB%1").arg(QCoreApplication::applicationPid());
}

QString SystemTest::plugIn(const PanelProcess &panel, const QString &port) const
{
    return devices().addSerialPort(port, QStringLiteral("USB Serial"), ConverterVendorId, panel.path());
}

QByteArray SystemTest::makeImage(qsizetype size) const
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i + i / RecordSize);
    writeFile(imageFile(), bytes);
    return bytes;
}

QByteArray SystemTest::rememberImage(qsizetype size) const
{
    const QByteArray bytes = makeImage(size);
    settings().setValue(QStringLiteral("settings/filename"), imageFile());
    return bytes;
}

void SystemTest::waitForEndOfUpdate() const
{
    QVERIFY(QTest::qWaitFor([this] { return program().isIdle(); }, UpdateTimeoutMs));
}

void SystemTest::setAdapters(int count) const
{
    const QString counter = filePath(QStringLiteral("adapters"));
    // The program may look at any moment, and finds the old number or the new one.
    QSaveFile file(counter);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray::number(count));
    QVERIFY(file.commit());
    program().setVariable(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(SUB20_SIMULATOR_FOLDER));
    program().setVariable(QStringLiteral("ZEPHYRIN_SUB20_ADAPTERS_FILE"), counter);
}

void SystemTest::chooseImage(const QString &fileName) const
{
    program().click(program().loadButton());
    program().answerFileDialog(QStringLiteral("Open firmware image"), fileName);
}

QByteArray SystemTest::readFile(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void SystemTest::writeFile(const QString &fileName, const QByteArray &bytes)
{
    QFile file(fileName);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(bytes), bytes.size());
}
