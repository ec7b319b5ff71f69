// SPDX-License-Identifier: MIT
#include "modbus/modbusloader.h"
#include "tests/support/bytes.h"
#include "tests/support/loaderbench.h"
#include "tests/support/messagelog.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"
#include "update/infraredloader.h"

#include <QDir>
#include <QFileInfo>
#include <QSerialPort>

#include <dlfcn.h>
#include <unistd.h>

#include <functional>

namespace {

/// The files that this process closes while it lives, in their order. One at a time.
class ClosedFiles
{
public:
    ClosedFiles() { current = this; }
    ~ClosedFiles() { current = nullptr; }
    ClosedFiles(const ClosedFiles &) = delete;
    ClosedFiles &operator=(const ClosedFiles &) = delete;

    QStringList names() const { return closed; }
    static void note(int file)
    {
        if (current)
            current->closed += QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(file));
    }

private:
    static inline ClosedFiles *current = nullptr;
    QStringList closed;
};

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

int runOver(LoaderBench &bench, ModbusLoader::Link link)
{
    return ModbusLoader(bench.context(), link).run();
}

/// What the loaders report of an image of this name.
QString refusal(const QString &name, const char *reason)
{
    return QStringLiteral("errorSignal Can't open image file ") + name + u' ' + QString::fromLatin1(reason);
}

/// A file that nobody may open; its folder stays open to everybody.
QString makeForbiddenFile(const LoaderBench &bench)
{
    const QString name = bench.path() + QStringLiteral("/forbidden");
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions({}) ||
        !QFile::setPermissions(bench.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                 QFile::ExeGroup | QFile::ExeOther))
        QTest::qFail("the file cannot be made", __FILE__, __LINE__);
    return name;
}

} // namespace

/// Qt's libraries close their files with this function, too.
extern "C" int close(int file)
{
    static const auto systemsOwn = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "close"));
    ClosedFiles::note(file);
    return systemsOwn(file);
}

/// Gives the name of something that cannot be opened, in the bench's folder.
using MakeName = std::function<QString(const LoaderBench &)>;
Q_DECLARE_METATYPE(MakeName)

/// Loaders whose image or serial port does not open or cannot be read, in Linux's words; and that both are
/// let go again.
class ModbusLoaderOpeningTest : public TestCase
{
    Q_OBJECT

private slots:
    void anImageThatCannotBeOpened_data();
    void anImageThatCannotBeOpened();
    void aForbiddenImage();
    void theImageIsOpenedBeforeThePort();
    void anImageThatCannotBeRead();
    void anImageThatInfraredCannotRead();
    void anImageThatVanishesOnTheWay();
    void anImageThatShrinksOnTheWay();

    void aPortThatCannotBeOpened_data();
    void aPortThatCannotBeOpened();
    void aPortThatIsTaken();
    void aForbiddenPort();

    void theImageIsLetGoBeforeThePort_data();
    void theImageIsLetGoBeforeThePort();
    void withoutALinkTheImageIsLetGo();
};

void ModbusLoaderOpeningTest::anImageThatCannotBeOpened_data()
{
    QTest::addColumn<MakeName>("makeName");
    QTest::addColumn<QByteArray>("reason");
    const auto row = [](const char *name, const char *reason, const MakeName &makeName) {
        QTest::newRow(name) << makeName << QByteArray(reason);
    };
    row("missing", "No such file or directory",
        [](const LoaderBench &bench) { return bench.path() + QStringLiteral("/missing.INC"); });
    row("no name", "No such file or directory", [](const LoaderBench &) { return QString(); });
    row("placeholders in its name", "No such file or directory",
        [](const LoaderBench &bench) { return bench.path() + QStringLiteral("/%2 %1 %3.INC"); });
    row("markup in its name", "No such file or directory",
        [](const LoaderBench &) { return QStringLiteral("/<b>bold</b>/Gerät.INC"); });
    row("a folder", "Is a directory", [](const LoaderBench &bench) { return bench.path(); });
    row("below a file", "Not a directory",
        [](const LoaderBench &bench) { return bench.job.imageFileName + QStringLiteral("/panel.INC"); });
    row("a link to itself", "Too many levels of symbolic links", [](const LoaderBench &bench) {
        const QString name = bench.path() + QStringLiteral("/loop.INC");
        QFile::link(name, name);
        return name;
    });
    row("too long a name", "File name too long",
        [](const LoaderBench &bench) { return bench.path() + u'/' + QString(300, u'x'); });
}

void ModbusLoaderOpeningTest::anImageThatCannotBeOpened()
{
    QFETCH(const MakeName, makeName);
    QFETCH(const QByteArray, reason);
    LoaderBench bench;
    bench.setImage("image");
    bench.job.imageFileName = makeName(bench);
    QCOMPARE(runOver(bench, ModbusLoader::Link::Sub20), -1);
    QCOMPARE(bench.events(), QStringList{refusal(bench.job.imageFileName, reason)});
}

void ModbusLoaderOpeningTest::aForbiddenImage()
{
    LoaderBench bench;
    bench.job.imageFileName = makeForbiddenFile(bench);
    const Unprivileged unprivileged;
    QCOMPARE(runOver(bench, ModbusLoader::Link::SerialPort), -1);
    QCOMPARE(bench.events(), QStringList{refusal(bench.job.imageFileName, "Permission denied")});
}

void ModbusLoaderOpeningTest::theImageIsOpenedBeforeThePort()
{
    LoaderBench bench;
    bench.job.imageFileName = bench.path();
    bench.job.portName = QStringLiteral("ttyMISSING");
    QCOMPARE(runOver(bench, ModbusLoader::Link::SerialPort), -1);
    QCOMPARE(bench.events(), QStringList{refusal(bench.path(), "Is a directory")});
}

void ModbusLoaderOpeningTest::anImageThatCannotBeRead()
{
    LoaderBench bench;
    // It opens, but nothing lies at the address 0 of a process.
    bench.job.imageFileName = QStringLiteral("/proc/self/mem");
    QCOMPARE(runOver(bench, ModbusLoader::Link::Sub20), -1);
    QCOMPARE(bench.events(),
             (QStringList{QStringLiteral("sub_open null"), QStringLiteral("load_start 0 0"),
                          QStringLiteral("errorSignal MODBUS BOOT. Image read failed: Input/output error"),
                          QStringLiteral("load_progress 0")}));
}

void ModbusLoaderOpeningTest::anImageThatInfraredCannotRead()
{
    LoaderBench bench;
    bench.job.imageFileName = QStringLiteral("/proc/self/mem");
    int variant = infrared::CrcVariant;
    QCOMPARE(InfraredLoader(bench.context(), variant).run(), -1);
    QCOMPARE(bench.events().mid(3),
             (QStringList{QStringLiteral("load_start 0 0"), QStringLiteral("load_progress 0"),
                          QStringLiteral("errorSignal IRBOOT. Image read failed: Input/output error")}));
}

void ModbusLoaderOpeningTest::anImageThatVanishesOnTheWay()
{
    LoaderBench bench;
    bench.setImage(unevenBytes(40000));
    bench.scripted.replyTo = [](const QByteArray &request) { return request; };
    bench.job.deviceAddress = 0x50;
    bench.onEvent = [&](const QString &) { QFile::remove(bench.job.imageFileName); };
    // The open file is read to its end all the same.
    QCOMPARE(runOver(bench, ModbusLoader::Link::Sub20), 0);
    QVERIFY(!QFile::exists(bench.job.imageFileName));
    QCOMPARE(bench.sent(QStringLiteral("sub_rs_xfer")).size(), 1250);
}

void ModbusLoaderOpeningTest::anImageThatShrinksOnTheWay()
{
    constexpr int ShrunkSize = 20000;
    LoaderBench bench;
    bench.setImage(unevenBytes(40000));
    bench.scripted.replyTo = [](const QByteArray &request) { return request; };
    bench.job.deviceAddress = 0x50;
    bench.onEvent = [&](const QString &event) {
        if (event.startsWith(QStringLiteral("load_start")))
            QFile::resize(bench.job.imageFileName, ShrunkSize);
    };
    QCOMPARE(runOver(bench, ModbusLoader::Link::Sub20), 0);
    QCOMPARE(bench.sent(QStringLiteral("sub_rs_xfer")).size(), ShrunkSize / 32);
    // The range was reported before.
    QCOMPARE(bench.events({QStringLiteral("load_start")}), QStringList{QStringLiteral("load_start 0 1250")});
    QCOMPARE(bench.events().constLast(), QStringLiteral("load_progress 1250"));
}

void ModbusLoaderOpeningTest::aPortThatCannotBeOpened_data()
{
    QTest::addColumn<MakeName>("makePort");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const char *error, const MakeName &makePort) {
        QTest::newRow(name) << makePort << QString::fromLatin1(error);
    };
    row("missing", "No such file or directory",
        [](const LoaderBench &) { return QStringLiteral("ttyMISSING"); });
    row("no name", "Is a directory", [](const LoaderBench &) { return QString(); }); // it is /dev/ then
    row("a folder", "Is a directory", [](const LoaderBench &bench) { return bench.path(); });
    row("no serial port", "Inappropriate ioctl for device",
        [](const LoaderBench &bench) { return bench.job.imageFileName; });
}

void ModbusLoaderOpeningTest::aPortThatCannotBeOpened()
{
    QFETCH(const MakeName, makePort);
    QFETCH(const QString, error);
    LoaderBench bench;
    bench.setImage(unevenBytes(320));
    bench.job.portName = makePort(bench);
    const MessageLog log;
    QCOMPARE(runOver(bench, ModbusLoader::Link::SerialPort), -1);
    QCOMPARE(bench.events(), QStringList{QStringLiteral("errorSignal ") + error});
    QCOMPARE(log.texts(), QStringList{error});
}

void ModbusLoaderOpeningTest::aPortThatIsTaken()
{
    const PanelProcess panel;
    LoaderBench bench;
    bench.setImage(unevenBytes(320));
    bench.job.portName = panel.path();
    QSerialPort taken(panel.path());
    QVERIFY(taken.open(QIODevice::ReadWrite));
    QCOMPARE(runOver(bench, ModbusLoader::Link::SerialPort), -1);
    QCOMPARE(bench.events(),
             QStringList{QStringLiteral("errorSignal Permission error while locking the device")});
}

void ModbusLoaderOpeningTest::aForbiddenPort()
{
    LoaderBench bench;
    bench.setImage(unevenBytes(320));
    // Everybody may read the image, also those of the owner's group.
    QVERIFY(QFile::setPermissions(bench.job.imageFileName,
                                  QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    bench.job.portName = makeForbiddenFile(bench);
    const Unprivileged unprivileged;
    QCOMPARE(runOver(bench, ModbusLoader::Link::SerialPort), -1);
    QCOMPARE(bench.events(), QStringList{QStringLiteral("errorSignal Permission denied")});
}

void ModbusLoaderOpeningTest::theImageIsLetGoBeforeThePort_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("stops");
    QTest::addColumn<int>("result");
    QTest::newRow("success") << QStringList() << false << 0;
    QTest::newRow("stopped") << QStringList() << true << -1;
    QTest::newRow("exception") << QStringList{QStringLiteral("--exception"), QStringLiteral("4")} << false
                               << 40;
}

void ModbusLoaderOpeningTest::theImageIsLetGoBeforeThePort()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const bool, stops);
    const PanelProcess panel(arguments);
    LoaderBench bench;
    bench.setImage(unevenBytes(64));
    bench.job.deviceAddress = 0x50;
    bench.job.portName = panel.path();
    bench.stopRequested = stops;
    const QString image = QFileInfo(bench.job.imageFileName).canonicalFilePath();
    const ClosedFiles closed;
    const int result = runOver(bench, ModbusLoader::Link::SerialPort);
    QTEST(result, "result");
    QStringList names = closed.names();
    names.removeIf([&](const QString &name) { return name != image && name != panel.path(); });
    QCOMPARE(names, (QStringList{image, panel.path()}));
}

void ModbusLoaderOpeningTest::withoutALinkTheImageIsLetGo()
{
    LoaderBench bench;
    const QString image = QFileInfo(bench.setImage(unevenBytes(64))).canonicalFilePath();
    const ClosedFiles closed;
    QCOMPARE(runOver(bench, ModbusLoader::Link::None), -1);
    QCOMPARE(closed.names().count(image), 1);
}

QTEST_GUILESS_MAIN(ModbusLoaderOpeningTest)
#include "tst_modbusloaderopening.moc"
