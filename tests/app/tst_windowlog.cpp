// SPDX-License-Identifier: MIT
#include "connections/connection.h"
#include "log/logmessages.h"
#include "tests/support/modalwatch.h"
#include "tests/support/scriptedsub20.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"
#include "trace/logbrowser.h"

#include <QElapsedTimer>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <stdexcept>

namespace {

const QString InfraRed = QStringLiteral("InfraRed SUB-20");
const QString Modbus = QStringLiteral("Modbus SUB-20");
constexpr qsizetype BlockSize = 48;
/// How long a loader takes at least, where that is looked at.
constexpr int LoaderMs = 20;

/// Holds the first call of a function, by default the first frame that goes out, until it is opened.
class Gate
{
public:
    explicit Gate(ScriptedSub20 &scripted, const QString &function = QStringLiteral("sub_ir_tx"))
    {
        scripted.onCall = [this, function](const QString &call) {
            if (call.startsWith(function) && !reached.exchange(true))
                goesOn.acquire();
        };
    }
    ~Gate() { open(); }
    Gate(const Gate &) = delete;
    Gate &operator=(const Gate &) = delete;

    bool isReached() const { return reached; }
    void open() { goesOn.release(); }

private:
    std::atomic<bool> reached = false;
    QSemaphore goesOn;
};

} // namespace

/// What the window leaves in the log file, in the process that keeps it: devices, and one beginning and one
/// end for each run, however it ends.
class WindowLogTest : public TestCase
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void theStart();
    void devicesThatComeAndGo();
    void noDevices();
    void aRunThatSucceeds();
    void aRunOverModbus();
    void aRunThatFails();
    void anAdapterThatIsMissing();
    void anImageThatIsMissing();
    void aRunThatIsStopped();
    void aRunThatIsStoppedBehindItsEnd();
    void aLoaderThatThrows();
    void eachRunHasItsNumberAndItsFigures();
    void theTimeIsThatOfTheLoader();
    void aStartThatWaits();
    void aWaitingStartThatIsTakenBack();
    void theWindowIsClosed();
    void aFailureBehindTheClosedWindow_data();
    void aFailureBehindTheClosedWindow();
    void aLoaderThatDoesNotBegin();
    void noConnection();
    void theTraceShowsWhatItAlwaysShows();

private:
    /// A window with an image of so many blocks, and its adapter.
    struct Site
    {
        explicit Site(const QString &connection = InfraRed, qsizetype blocks = 2)
        {
            bench.start(connection, QByteArray(blocks * BlockSize, 'x'));
        }

        ScriptedSub20 scripted;
        Sub20 adapter{ScriptedSub20::functions()};
        WindowBench bench{adapter};
        MessageBoxes boxes;
    };

    /// Starts an update, and waits until the gate holds its first frame.
    void startAndHold(const Site &site, const Gate &gate)
    {
        take();
        site.bench.press();
        QTRY_VERIFY(gate.isReached());
    }
    /// Starts an update of so many blocks, and stops it while its first frame is held.
    void stopAtTheFirstFrame(qsizetype blocks);

    /// The lines since the last call, from the thread on; numbers of runs and times as "#".
    QStringList take();
    /// The same with the numbers and times.
    QString takeAll() { return QString::fromUtf8(file.readAll()); }
    /// How long the one run among these lines has taken.
    static int millisecondsOf(const QString &lines)
    {
        static const QRegularExpression figures(QStringLiteral(", in (\\d+)\\.(\\d{3}) s\n"));
        const QRegularExpressionMatch match = figures.match(lines);
        return (match.captured(1) + match.captured(2)).toInt();
    }
    QStringList takeNotes() { return take().filter(QRegularExpression(QStringLiteral("^\\w+ info "))); }
    /// Of the notes, those of the runs, without the figures.
    QStringList takeRuns();
    static QString begin(const QString &connection = InfraRed)
    {
        return QStringLiteral("loader info     run # begins: ") + connection;
    }
    static QString end(const QString &text) { return QStringLiteral("window info     run # ends: ") + text; }

    QTemporaryDir folder;
    QFile file{folder.filePath(QStringLiteral("site.log"))};
};

void WindowLogTest::initTestCase()
{
    startLogFile(file.fileName());
    QVERIFY(file.open(QIODevice::ReadWrite));
}

void WindowLogTest::cleanup()
{
    QVERIFY(!logHandlerInstalled);
    take();
}

QStringList WindowLogTest::take()
{
    static const QRegularExpression run(QStringLiteral("run \\d+ "));
    static const QRegularExpression time(QStringLiteral("\\d+\\.\\d+ (m?s)\\b"));
    QStringList lines;
    for (const QString &line : takeAll().split(u'\n', Qt::SkipEmptyParts))
        lines += line.section(u' ', 1)
                     .replace(run, QStringLiteral("run # "))
                     .replace(time, QStringLiteral("# \\1"));
    return lines;
}

QStringList WindowLogTest::takeRuns()
{
    return takeNotes().filter(QRegularExpression(QStringLiteral("run # (begins|ends|reported)")));
}

void WindowLogTest::theStart()
{
    {
        WindowBench bench;
        bench.settings.setValue(QStringLiteral("options/reply_gap"), QStringLiteral("50"));
        bench.settings.setValue(QStringLiteral("options/check_reply"), QStringLiteral("TRUE"));
        bench.settings.setValue(QStringLiteral("options/trace_key"), QStringLiteral("nothing"));
        bench.start();
    }
    const QStringList lines = take();
    const QString program = QStringLiteral("window info     Zephyrin Update Utility 1.0.4, Qt %1, process %2")
                                .arg(QLatin1String(qVersion()))
                                .arg(QCoreApplication::applicationPid());
    const qsizetype first = lines.indexOf(program);
    QVERIFY2(first >= 0, qPrintable(lines.join(u'\n')));
    QCOMPARE(lines.value(first + 1), QStringLiteral("window info     system: %1, %2 %3, %4")
                                         .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(),
                                              QSysInfo::kernelVersion(), QSysInfo::currentCpuArchitecture()));
    QCOMPARE(lines.mid(first + 2, 2),
             QStringList({QStringLiteral("window info     options: reply_gap=50, check_reply=TRUE"),
                          QStringLiteral("window info     option refused: options/trace_key=nothing")}));
    QVERIFY(lines.contains(
        QStringLiteral("window debug    options/trace_key is not used, its value is no good: nothing")));
}

void WindowLogTest::devicesThatComeAndGo()
{
    Site site;
    take();
    site.bench.devices.addSerialPort(QStringLiteral("ttyUSB0"), QStringLiteral("USB Serial"), 0x0403);
    site.bench.devices.addSerialPort(QStringLiteral("ttyS0"), QString(), 0);
    site.bench.probe().updateConnections();
    const QString port = QStringLiteral("port ttyUSB0, \"USB Serial\", USB 0403:0000, in the menu");
    const QString bare =
        QStringLiteral("port ttyS0, \"\", no USB numbers, not in the menu: it has no description");
    QCOMPARE(take(), QStringList({QStringLiteral("window info     new: ") + port,
                                  QStringLiteral("window info     new: ") + bare}));
    site.bench.probe().updateConnections();
    QCOMPARE(take(), QStringList());

    site.bench.devices.remove(QStringLiteral("ttyUSB0"));
    site.scripted.adapters = 0;
    site.bench.probe().updateConnections();
    QCOMPARE(take(), QStringList({QStringLiteral("window info     gone: SUB-20 adapter"),
                                  QStringLiteral("window info     gone: ") + port}));

    // A second window finds what there is.
    site.bench.start();
    QVERIFY(takeNotes().contains(QStringLiteral("window info     there is: ") + bare));
}

void WindowLogTest::noDevices()
{
    WindowBench bench;
    bench.start();
    QVERIFY(takeNotes().contains(QStringLiteral("window info     there is no port and no SUB-20 adapter")));
}

void WindowLogTest::aRunThatSucceeds()
{
    Site site;
    take();
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    const QString image = site.bench.path() + QStringLiteral("/panel.INC");
    QCOMPARE(take(),
             QStringList(
                 {begin(),
                  QStringLiteral("loader info     run # image: \"%1\", 96 bytes, SHA-256 "
                                 "d47f0876dd6917702e40d215907c975a9c8f6b8140510841c1ebee43497aac95, 2 blocks "
                                 "to send")
                      .arg(image),
                  QStringLiteral("loader debug    boot run"),
                  QStringLiteral("window info     run # sent 2 of 2 blocks, which nobody confirms, in # s"),
                  QStringLiteral("window info     run # took for each block: # ms at least, # ms in the "
                                 "median, # ms at most"),
                  end(QStringLiteral("result 0, the whole image was sent"))}));
}

void WindowLogTest::aRunOverModbus()
{
    Site site(Modbus);
    site.scripted.replyTo = [](const QByteArray &request) { return request; };
    take();
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    const QStringList notes = takeNotes();
    QCOMPARE(notes.value(0), begin(QStringLiteral("Modbus SUB-20, address 0x50")));
    QCOMPARE(
        notes.mid(2),
        QStringList({QStringLiteral("window info     run # sent 3 of 3 records, 3 of them confirmed, in # s"),
                     QStringLiteral("window info     run # took for each record: # ms at least, # ms in the "
                                    "median, # ms at most"),
                     end(QStringLiteral("result 0, the whole image was sent"))}));
}

void WindowLogTest::aRunThatFails()
{
    Site site;
    site.scripted.answer(QStringLiteral("sub_ir_tx"), 7);
    take();
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    const QStringList lines = take();
    const QString error = QStringLiteral("SUB-20 sub_ir_tx: scripted error 7");
    QVERIFY(lines.contains(QStringLiteral("window debug    ") + error));
    QCOMPARE(lines.last(3),
             QStringList(
                 {QStringLiteral("window info     run # sent 1 of 2 blocks, which nobody confirms, in # s"),
                  QStringLiteral("window info     run # reported: ") + error,
                  end(QStringLiteral("result 7, an error of the adapter's library"))}));

    // The next run has nothing to do with it.
    site.scripted.answer(QStringLiteral("sub_ir_tx"), 0);
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    QCOMPARE(takeRuns(), QStringList({begin(), end(QStringLiteral("result 0, the whole image was sent"))}));
}

void WindowLogTest::anAdapterThatIsMissing()
{
    Site site(Modbus);
    site.scripted.adapters = 0;
    take();
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    QCOMPARE(takeRuns(), QStringList({begin(QStringLiteral("Modbus SUB-20, address 0x50")),
                                      QStringLiteral("window info     run # reported: Can't open SUB-20"),
                                      end(QStringLiteral("result -1, not all of the image was sent"))}));
}

void WindowLogTest::anImageThatIsMissing()
{
    Site site;
    QVERIFY(QFile::remove(site.bench.path() + QStringLiteral("/panel.INC")));
    take();
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    const QStringList lines = takeNotes();
    QVERIFY(lines.value(1).endsWith(QStringLiteral("panel.INC\", not looked at: no file")));
    QCOMPARE(lines.filter(QStringLiteral(" reported: Can't open image file ")).size(), 1);
    QCOMPARE(lines.last(), end(QStringLiteral("result -1, not all of the image was sent")));
}

void WindowLogTest::stopAtTheFirstFrame(qsizetype blocks)
{
    Site site(InfraRed, blocks);
    Gate gate(site.scripted);
    startAndHold(site, gate);
    site.bench.press();
    gate.open();
    QVERIFY(site.bench.waitForEnd());
}

void WindowLogTest::aRunThatIsStopped()
{
    stopAtTheFirstFrame(100);
    QCOMPARE(
        takeRuns(),
        QStringList({begin(), end(QStringLiteral("result -1, not all of the image was sent; stopped by the "
                                                 "user"))}));
}

void WindowLogTest::aRunThatIsStoppedBehindItsEnd()
{
    stopAtTheFirstFrame(1);
    QCOMPARE(takeRuns(), QStringList({begin(), end(QStringLiteral("result 0, the whole image was sent"))}));
}

void WindowLogTest::aLoaderThatThrows()
{
    Site site;
    const auto thrower = connect(
        site.bench.probe().emitter(), &Emitter::load_start, this,
        [] {
            QThread::msleep(LoaderMs);
            throw std::runtime_error("out of order");
        },
        Qt::DirectConnection);
    take();
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    const QString lines = takeAll();
    QVERIFY2(millisecondsOf(lines) >= LoaderMs, qPrintable(lines));
    QVERIFY(file.seek(file.pos() - lines.toUtf8().size()));
    QCOMPARE(takeRuns(),
             QStringList({begin(), end(QStringLiteral("result -1, not all of the image was sent"))}));
    disconnect(thrower);
    site.bench.press();
    QVERIFY(site.bench.waitForEnd());
    QCOMPARE(takeRuns(), QStringList({begin(), end(QStringLiteral("result 0, the whole image was sent"))}));
}

void WindowLogTest::eachRunHasItsNumberAndItsFigures()
{
    Site site;
    for (const int run : {1, 2, 3}) {
        take();
        site.bench.press();
        QVERIFY(site.bench.waitForEnd());
        const QString lines = takeAll();
        const auto count = [&](const char *text) {
            return lines.count(QStringLiteral(" run %1 %2").arg(run).arg(QLatin1String(text)));
        };
        QCOMPARE(lines.count(QStringLiteral(" run ")), 5);
        QCOMPARE(count("begins: "), 1);
        QCOMPARE(count("sent 2 of 2 blocks, "), 1);
        QCOMPARE(count("ends: result 0, "), 1);
    }
}

void WindowLogTest::theTimeIsThatOfTheLoader()
{
    Site site;
    Gate gate(site.scripted);
    take();
    QElapsedTimer longest;
    longest.start();
    site.bench.press();
    QTRY_VERIFY(gate.isReached());
    QElapsedTimer shortest;
    shortest.start();
    QThread::msleep(LoaderMs);
    const qint64 least = shortest.elapsed();
    gate.open();
    QVERIFY(site.bench.waitForEnd());
    const QString lines = takeAll();
    QCOMPARE_GE(millisecondsOf(lines), least);
    QCOMPARE_LE(millisecondsOf(lines), longest.elapsed());
}

void WindowLogTest::aStartThatWaits()
{
    Site site;
    Gate gate(site.scripted);
    startAndHold(site, gate);
    site.bench.press();
    site.bench.press();
    QCOMPARE(takeRuns(), QStringList(begin()));
    gate.open();
    QVERIFY(site.bench.waitForEnd());
    QCOMPARE(
        takeRuns(),
        QStringList({end(QStringLiteral("result -1, not all of the image was sent; stopped by the user")),
                     begin(), end(QStringLiteral("result 0, the whole image was sent"))}));
}

void WindowLogTest::aWaitingStartThatIsTakenBack()
{
    Site site;
    Gate gate(site.scripted);
    startAndHold(site, gate);
    for (int presses = 0; presses < 3; ++presses)
        site.bench.press();
    gate.open();
    QVERIFY(site.bench.waitForEnd());
    QCOMPARE(takeRuns().size(), 2);
}

void WindowLogTest::theWindowIsClosed()
{
    Site site(InfraRed, 100);
    Gate gate(site.scripted);
    startAndHold(site, gate);
    site.bench.window().close();
    gate.open();
    site.bench.close();
    QCOMPARE(
        takeRuns(),
        QStringList({begin(), end(QStringLiteral("result -1, not all of the image was sent; stopped, the "
                                                 "window was closed"))}));
}

void WindowLogTest::aFailureBehindTheClosedWindow_data()
{
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("reported");
    QTest::addColumn<QString>("result");
    QTest::newRow("by a signal") << QStringLiteral("sub_ir_tx")
                                 << QStringLiteral("SUB-20 sub_ir_tx: scripted error 7")
                                 << QStringLiteral("7, an error of the adapter's library");
    QTest::newRow("waiting for its box")
        << QStringLiteral("sub_open") << QStringLiteral("SUB-20 not connected!")
        << QStringLiteral("-1, not all of the image was sent");
}

void WindowLogTest::aFailureBehindTheClosedWindow()
{
    QFETCH(const QString, function);
    QFETCH(const QString, reported);
    QFETCH(const QString, result);
    Site site;
    site.scripted.answer(QStringLiteral("sub_ir_tx"), 7);
    if (function == QStringLiteral("sub_open"))
        site.scripted.adapters = 0;
    Gate gate(site.scripted, function);
    startAndHold(site, gate);
    site.bench.window().close();
    gate.open();
    site.bench.close();
    const QStringList lines = take();
    QVERIFY(lines.contains(QStringLiteral("window debug    ") + reported));
    QCOMPARE(lines.last(2),
             QStringList({QStringLiteral("window info     run # reported: ") + reported,
                          end(QStringLiteral("result %1; stopped, the window was closed").arg(result))}));
    QCOMPARE(site.boxes.informativeTexts(), QStringList());
}

void WindowLogTest::aLoaderThatDoesNotBegin()
{
    Site site;
    take();
    site.bench.runLoader([] { return 0; }); // no run of the window's own
    QCOMPARE(takeNotes(), QStringList());
}

void WindowLogTest::noConnection()
{
    Site site;
    site.bench.probe().setConnectionType(ConnectionNone);
    take();
    site.bench.press();
    QCOMPARE(take(), QStringList(QStringLiteral("window info     no connection is chosen: nothing is sent")));
    site.bench.press();
    QCOMPARE(take(), QStringList());
}

void WindowLogTest::theTraceShowsWhatItAlwaysShows()
{
    WindowBench bench;
    bench.start();
    QStringList traced;
    connect(logBrowser.data(), &LogBrowser::sendMessage, this,
            [&traced](QtMsgType level, const QString &text) {
                if (level != QtWarningMsg) // what the offscreen platform says of itself
                    traced += text;
            });
    take();
    qDebug("before");
    // on, off, on, closed by its title bar, shown with the handler off, and on again
    bench.window().logHotKeyPressed();
    qDebug("on");
    logNote(QStringLiteral("a note"));
    bench.window().logHotKeyPressed();
    qDebug("off");
    bench.window().logHotKeyPressed();
    logBrowser->closeBrowser();
    qDebug("unseen");
    bench.window().logHotKeyPressed();
    qDebug("shown, but off");
    bench.window().logHotKeyPressed();
    qDebug("on again");
    bench.window().logHotKeyPressed();
    QCOMPARE(traced,
             QStringList({QStringLiteral("on"), QStringLiteral("unseen"), QStringLiteral("on again")}));
    QCOMPARE(take().filter(QRegularExpression(QStringLiteral("^window (debug|info) "))),
             QStringList({QStringLiteral("window debug    before"), QStringLiteral("window debug    on"),
                          QStringLiteral("window info     a note"), QStringLiteral("window debug    off"),
                          QStringLiteral("window debug    unseen"),
                          QStringLiteral("window debug    shown, but off"),
                          QStringLiteral("window debug    on again")}));
}

QTEST_MAIN(WindowLogTest)
#include "tst_windowlog.moc"
