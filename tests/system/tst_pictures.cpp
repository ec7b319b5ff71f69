// SPDX-License-Identifier: MIT
#include "tests/support/guidepicture.h"
#include "tests/system/systemtest.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QTest>

#include <optional>
#include <utility>

namespace {

/// The window manager's frame around a window.
constexpr QMargins Frame(1, 20, 1, 5);
constexpr double Full = 100;
constexpr int PatienceMs = 15000;
constexpr int UpdateTimeoutMs = 60000;
/// The running clock may show another second. A text or a control that changes takes more.
constexpr double ForTheClock = 0.0015;

const QString Port = QStringLiteral("ttyUSB0");

/// A dark theme, as a desktop's settings have it.
constexpr const char *DarkTheme = R"([Colors:Window]
BackgroundNormal=49,54,59
ForegroundNormal=239,240,241
[Colors:Button]
BackgroundNormal=49,54,59
ForegroundNormal=239,240,241
[Colors:View]
BackgroundNormal=35,38,41
ForegroundNormal=239,240,241
[Colors:Selection]
BackgroundNormal=61,174,233
ForegroundNormal=239,240,241
[KDE]
widgetStyle=fusion
)";

/// Names that readers know can be in use once on a machine, the port's as well as the image file's: another
/// run of this test waits.
class Turn
{
public:
    Turn()
    {
        constexpr int TimeoutMs = 240000;
        lock.setStaleLockTime(0); // as long as its owner lives
        QVERIFY(lock.tryLock(TimeoutMs));
        QVERIFY2(!QFileInfo::exists(Folder), "/tmp/firmware is somebody's own");
    }
    ~Turn()
    {
        QFile::remove(imageFile());
        QDir().rmdir(Folder);
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

    QString imageFile() const { return Folder + QStringLiteral("/panel.INC"); }

private:
    static inline const QString Folder = QStringLiteral("/tmp/firmware");

    QLockFile lock{QDir::temp().filePath(QStringLiteral("zephyrin-pictures.lock"))};
};

} // namespace

/// The user guide's pictures of the program's windows.
class SystemPictures : public SystemTest
{
    Q_OBJECT

private slots:
    void init();
    void noConnection();
    void connectionMenu();
    void updateThatSucceeds();
    void updateThatFails();
    void traceOfFailures();
    void halfway();
    void scaled();
    void dark();

private:
    static constexpr int Records = 60;

    void take(const char *name, const QRect &area, double tolerance = 0) const;
    QRect areaOf(const Accessible &window) const { return window.extents() + Frame; }
    QRect mainArea() const { return areaOf(program().mainWindow()); }
    /// Plugs in the panel's port, and has the image that goes there chosen.
    void connectTo(const PanelProcess &panel, int records = Records) const;
    Accessible trace() const { return program().window(QStringLiteral("Trace")); }
    void showTrace() const;
    /// Tries an update that ends in an error box, and closes it.
    void updateInVain() const;
    /// Updates half-way, takes a picture, and pulls the line.
    void takeHalfway(const char *name) const;

    std::optional<Turn> turn;
};

void SystemPictures::init()
{
    SystemTest::init();
    if (!turn)
        turn.emplace();
}

void SystemPictures::connectTo(const PanelProcess &panel, int records) const
{
    plugIn(panel, Port);
    const QFileInfo image(turn->imageFile());
    QVERIFY(image.dir().mkpath(QStringLiteral(".")));
    writeFile(image.filePath(), QByteArray(records * RecordSize, '\x5a'));
    settings().setValue(QStringLiteral("settings/filename"), image.filePath());
}

void SystemPictures::take(const char *name, const QRect &area, double tolerance) const
{
    const GuidePicture guide(QString::fromLatin1(name));
    // Once a window stands there it is still being painted for a moment, and a cursor blinks.
    QImage picture;
    const auto isReady = [&] {
        const QImage before = std::exchange(picture, desktop->picture().copy(area));
        return before == picture && guide.looksLike(picture, tolerance);
    };
    [[maybe_unused]] const bool came = QTest::qWaitFor(isReady, PatienceMs);
    guide.use(picture, tolerance);
}

void SystemPictures::noConnection()
{
    startProgram();
    take("no-connection", mainArea());
}

void SystemPictures::connectionMenu()
{
    const PanelProcess panel;
    connectTo(panel);
    setAdapters(1);
    settings().setValue(QStringLiteral("settings/deviceName"), QStringLiteral("Modbus SUB-20"));
    startProgram();
    program().click(program().connectionMenu());
    QTRY_VERIFY(
        program().connectionMenu().first(Accessible::Role::MenuItem, Port).is(Accessible::State::Showing));
    take("connection-menu", mainArea());
    program().press(QStringLiteral("Escape"));
}

void SystemPictures::showTrace() const
{
    program().press(QStringLiteral("ctrl+shift+bracketright"));
    QTRY_VERIFY(!trace().isNull());
    program().raise(program().mainWindow());
}

void SystemPictures::updateInVain() const
{
    pressUpdateButton();
    QTRY_VERIFY(!program().boxTexts().isEmpty());
    program().closeBox();
    waitForEndOfUpdate();
}

void SystemPictures::updateThatSucceeds()
{
    constexpr int FewRecords = 12;
    const PanelProcess panel;
    connectTo(panel, FewRecords);
    startProgram();
    take("ready", mainArea());
    showTrace();
    const QRect window = mainArea();
    pressUpdateButton();
    QTRY_COMPARE_WITH_TIMEOUT(program().percent(), Full, UpdateTimeoutMs);
    waitForEndOfUpdate();
    program().raise(trace());
    take("trace", areaOf(trace()));
    program().press(QStringLiteral("ctrl+shift+bracketright"));
    QTRY_VERIFY(trace().isNull());
    program().raise(program().mainWindow());
    take("done", window);
}

void SystemPictures::updateThatFails()
{
    const PanelProcess panel({QStringLiteral("--exception"), QStringLiteral("4")});
    connectTo(panel);
    startProgram();
    pressUpdateButton();
    QTRY_VERIFY(!program().boxTexts().isEmpty());
    take("error", areaOf(program().box()));
    program().closeBox();
    waitForEndOfUpdate();
}

// The panel refuses a record; then its port is gone.
void SystemPictures::traceOfFailures()
{
    const PanelProcess panel({QStringLiteral("--exception"), QStringLiteral("4"),
                              QStringLiteral("--from-record"), QStringLiteral("3")});
    connectTo(panel);
    startProgram();
    showTrace();
    chooseImage(turn->imageFile());
    updateInVain();
    devices().unlinkNode(Port);
    updateInVain();
    program().raise(trace());
    take("trace-levels", areaOf(trace()));
}

void SystemPictures::takeHalfway(const char *name) const
{
    // The bar moves with every third record: from this one on it stands still for three late replies.
    constexpr int StandsStillFrom = 28;
    auto panel = std::make_optional<PanelProcess>(QStringList{
        QStringLiteral("--answer-ms"), QStringLiteral("100"), QStringLiteral("--late-ms"),
        QStringLiteral("8000"), QStringLiteral("--from-record"), QString::number(StandsStillFrom)});
    connectTo(*panel);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel->waitForRecords(StandsStillFrom, UpdateTimeoutMs));
    take(name, mainArea(), ForTheClock);
    panel.reset();
    waitForEndOfUpdate();
}

void SystemPictures::halfway()
{
    takeHalfway("halfway");
}

void SystemPictures::scaled()
{
    constexpr int Factor = 2;
    const PanelProcess panel;
    connectTo(panel);
    program().setVariable(QStringLiteral("QT_SCALE_FACTOR"), QString::number(Factor));
    startProgram();
    const QRect area = program().mainWindow().extents(); // told without the factor
    take("scaled", QRect(area.topLeft() * Factor, area.size() * Factor) + Frame);
}

void SystemPictures::dark()
{
    writeFile(settings().path() + QStringLiteral("/kdeglobals"), DarkTheme);
    program().setVariable(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("KDE"));
    program().setVariable(QStringLiteral("KDE_SESSION_VERSION"), QStringLiteral("5"));
    takeHalfway("dark");
}

QTEST_MAIN(SystemPictures)
#include "tst_pictures.moc"
