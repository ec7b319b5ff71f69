// SPDX-License-Identifier: MIT
#include "tests/modbus/upload.h"
#include "tests/support/testcase.h"

#include <QDir>
#include <QSerialPort>

#include <unistd.h>

#include <functional>

namespace {

/// Without the rights of the superuser, for whom no file is forbidden.
class Unprivileged
{
public:
    Unprivileged()
    {
        if (geteuid() == 0 && seteuid(Nobody) != 0)
            QTest::qFail("the rights cannot be dropped", __FILE__, __LINE__);
    }
    ~Unprivileged()
    {
        if (seteuid(getuid()) != 0)
            QTest::qFail("the rights cannot be taken back", __FILE__, __LINE__);
    }
    Unprivileged(const Unprivileged &) = delete;
    Unprivileged &operator=(const Unprivileged &) = delete;

private:
    static constexpr uid_t Nobody = 65534;
};

QString makeForbiddenFile(const WindowBench &bench)
{
    const QString name = bench.makeImage("image", QStringLiteral("forbidden.INC"));
    QFile::setPermissions(name, {});
    return name;
}

} // namespace

/// Makes a file that cannot be opened, and returns its name.
using MakeFile = std::function<QString(const WindowBench &)>;
Q_DECLARE_METATYPE(MakeFile)

class ModbusLoaderOpeningTest : public TestCase
{
    Q_OBJECT

private slots:
    void anImageThatCannotBeOpened_data();
    void anImageThatCannotBeOpened();
    void aForbiddenImage();
    void theImageIsOpenedBeforeThePort();
    void anImageThatCannotBeRead();
    void anImageThatVanishesOnTheWay();
    void anImageThatShrinksOnTheWay();

    void aPortThatCannotBeOpened_data();
    void aPortThatCannotBeOpened();
    void aPortThatIsTaken();
    void aForbiddenPort();

private:
    static void verifyPortError(Upload &upload, const QString &text);
};

void ModbusLoaderOpeningTest::anImageThatCannotBeOpened_data()
{
    QTest::addColumn<MakeFile>("makeFile");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const char *reason, const MakeFile &makeFile) {
        QTest::newRow(name) << makeFile << QString::fromLatin1(reason);
    };
    row("missing", "No such file or directory",
        [](const WindowBench &bench) { return bench.path() + QStringLiteral("/missing.INC"); });
    row("no name", "No such file or directory", [](const WindowBench &) { return QString(); });
    row("placeholders in its name", "No such file or directory",
        [](const WindowBench &bench) { return bench.path() + QStringLiteral("/%2 %1 %3.INC"); });
    row("markup in its name", "No such file or directory",
        [](const WindowBench &) { return QStringLiteral("/<b>bold</b>/Gerät.INC"); });
    row("a folder", "Is a directory", [](const WindowBench &bench) { return bench.path(); });
    row("below a file", "Not a directory",
        [](const WindowBench &bench) { return bench.makeImage("image") + QStringLiteral("/panel.INC"); });
    row("a link to itself", "Too many levels of symbolic links", [](const WindowBench &bench) {
        const QString name = bench.path() + QStringLiteral("/loop.INC");
        QFile::link(name, name);
        return name;
    });
    row("too long a name", "File name too long",
        [](const WindowBench &bench) { return bench.path() + u'/' + QString(300, u'x'); });
}

void ModbusLoaderOpeningTest::anImageThatCannotBeOpened()
{
    QFETCH(const MakeFile, makeFile);
    QFETCH(const QString, reason);
    SimulatedAdapter adapter;
    Upload upload;
    upload.bench.probe().connectionType() = ConnectionModbusSub20;
    const QString name = makeFile(upload.bench);
    QCOMPARE(upload.runFile(name), -1);
    const QString text = QStringLiteral("Can't open image file ") + name + u' ' + reason;
    QCOMPARE(upload.lines(), QStringList({QStringLiteral("errorSignal ") + text}));
    QTRY_COMPARE(upload.boxes.informativeTexts(), QStringList({text}));
    QCOMPARE(upload.log.count(text), 1);
    QCOMPARE(upload.log.count(CanceledText), 1);
    QCOMPARE(adapter.calls(QStringLiteral("sub_open")), QStringList());
    verifySessionEnded(upload.bench, false);
}

void ModbusLoaderOpeningTest::aForbiddenImage()
{
    Upload upload;
    const QString name = makeForbiddenFile(upload.bench);
    {
        const Unprivileged unprivileged;
        QCOMPARE(upload.runFile(name), -1);
    }
    QTRY_COMPARE(upload.boxes.informativeTexts(),
                 QStringList({QStringLiteral("Can't open image file %1 Permission denied").arg(name)}));
}

void ModbusLoaderOpeningTest::theImageIsOpenedBeforeThePort()
{
    Upload upload;
    upload.bench.probe().portName() = QStringLiteral("ttyMISSING");
    QCOMPARE(upload.runFile(upload.bench.path()), -1);
    QTRY_COMPARE(
        upload.boxes.informativeTexts(),
        QStringList({QStringLiteral("Can't open image file %1 Is a directory").arg(upload.bench.path())}));
}

void ModbusLoaderOpeningTest::anImageThatCannotBeRead()
{
    Upload upload;
    // It opens, but nothing lies at the address 0 of a process.
    QCOMPARE(upload.runFile(QStringLiteral("/proc/self/mem")), -1);
    const QString text = QStringLiteral("MODBUS BOOT. Image read failed: Input/output error");
    QCOMPARE(upload.lines(),
             QStringList({QStringLiteral("load_start 0 0"), QStringLiteral("errorSignal ") + text,
                          QStringLiteral("load_progress 0")}));
    QTRY_COMPARE(upload.boxes.informativeTexts(), QStringList({text}));
    QCOMPARE(upload.log.count(CanceledText), 1);
    QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 0);
}

void ModbusLoaderOpeningTest::anImageThatVanishesOnTheWay()
{
    const QByteArray image = makeBytes(40000);
    SimulatedAdapter adapter;
    Upload upload;
    upload.bench.probe().connectionType() = ConnectionModbusSub20;
    const QString name = upload.bench.makeImage(image);
    connect(
        upload.bench.probe().emitter(), &Emitter::load_start, this, [&] { QFile::remove(name); },
        Qt::DirectConnection);
    // The open file is read to its end all the same.
    QCOMPARE(upload.runFile(name), 0);
    QVERIFY(!QFile::exists(name));
    QCOMPARE(adapter.modbusImage(), image);
}

void ModbusLoaderOpeningTest::anImageThatShrinksOnTheWay()
{
    constexpr int ShrunkSize = 20000;
    const QByteArray image = makeBytes(40000);
    SimulatedAdapter adapter;
    Upload upload;
    upload.bench.probe().connectionType() = ConnectionModbusSub20;
    const QString name = upload.bench.makeImage(image);
    connect(
        upload.bench.probe().emitter(), &Emitter::load_start, this, [&] { QFile::resize(name, ShrunkSize); },
        Qt::DirectConnection);
    QCOMPARE(upload.runFile(name), 0);
    QCOMPARE(adapter.modbusImage(), image.left(ShrunkSize));
    // The range was told before.
    QCOMPARE(upload.lines().constFirst(), QStringLiteral("load_start 0 1250"));
    QCOMPARE(upload.lines().constLast(), QStringLiteral("load_progress 1250"));
}

void ModbusLoaderOpeningTest::aPortThatCannotBeOpened_data()
{
    QTest::addColumn<MakeFile>("makePort");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const char *error, const MakeFile &makePort) {
        QTest::newRow(name) << makePort << QString::fromLatin1(error);
    };
    row("missing", "No such file or directory",
        [](const WindowBench &) { return QStringLiteral("ttyMISSING"); });
    row("no name", "Is a directory", [](const WindowBench &) { return QString(); }); // it is /dev/ then
    row("a folder", "Is a directory", [](const WindowBench &bench) { return bench.path(); });
    row("no serial port", "Inappropriate ioctl for device",
        [](const WindowBench &bench) { return bench.makeImage("image"); });
}

void ModbusLoaderOpeningTest::verifyPortError(Upload &upload, const QString &text)
{
    QCOMPARE(upload.lines(), QStringList({QStringLiteral("errorSignal ") + text}));
    QTRY_COMPARE(upload.boxes.informativeTexts(), QStringList({text}));
    QCOMPARE(upload.log.count(text), 2); // by the loader, and with the box
    QCOMPARE(upload.log.count(CanceledText), 1);
    QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 0);
    verifySessionEnded(upload.bench, false);
}

void ModbusLoaderOpeningTest::aPortThatCannotBeOpened()
{
    QFETCH(const MakeFile, makePort);
    QFETCH(const QString, error);
    Upload upload;
    upload.bench.probe().portName() = makePort(upload.bench);
    QCOMPARE(upload.run(makeBytes(320)), -1);
    verifyPortError(upload, error);
}

void ModbusLoaderOpeningTest::aPortThatIsTaken()
{
    Upload upload;
    QSerialPort taken(upload.panel.path());
    QVERIFY(taken.open(QIODevice::ReadWrite));
    QCOMPARE(upload.run(makeBytes(320)), -1);
    verifyPortError(upload, QStringLiteral("Permission error while locking the device"));
    taken.close();
}

void ModbusLoaderOpeningTest::aForbiddenPort()
{
    Upload upload;
    upload.bench.probe().portName() = makeForbiddenFile(upload.bench);
    const QString image = upload.bench.makeImage(makeBytes(320));
    // Everybody may read the image, also those of the owner's group.
    QVERIFY(QFile::setPermissions(image, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    QVERIFY(QFile::setPermissions(upload.bench.path(), QFile::ReadOwner | QFile::WriteOwner |
                                                           QFile::ExeOwner | QFile::ExeGroup |
                                                           QFile::ExeOther));
    {
        const Unprivileged unprivileged;
        QCOMPARE(upload.runFile(image), -1);
    }
    verifyPortError(upload, QStringLiteral("Permission denied"));
}

QTEST_MAIN(ModbusLoaderOpeningTest)
#include "tst_modbusloaderopening.moc"
