// SPDX-License-Identifier: MIT
#include "tests/system/systemtest.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QTest>

#include <utility>

namespace {

/// The window manager's frame around a window.
constexpr QMargins Frame(1, 20, 1, 5);
constexpr double HalfWay = 50;
constexpr double Full = 100;

} // namespace

/// Takes the pictures of the program's windows that the user guide shows.
class SystemPictures : public SystemTest
{
    Q_OBJECT

private slots:
    void takePictures();

private:
    void take(const char *name, const QRect &area) const;
    QRect areaOf(const Accessible &window) const { return window.extents() + Frame; }
};

void SystemPictures::take(const char *name, const QRect &area) const
{
    // Once a window stands there it is still being painted for a moment.
    QImage picture;
    QVERIFY(QTest::qWaitFor([&] { return std::exchange(picture, desktop->picture()) == picture; }));
    const QDir folder(QStringLiteral(PICTURES));
    QVERIFY(folder.mkpath(QStringLiteral(".")));
    QVERIFY(picture.copy(area).save(folder.filePath(QLatin1String(name) + QStringLiteral(".png"))));
}

void SystemPictures::takePictures()
{
    // A name that readers know can be open once on a machine; another run of this test waits.
    constexpr int TurnTimeoutMs = 60000;
    QLockFile turn(QDir::temp().filePath(QStringLiteral("zephyrin-pictures.lock")));
    QVERIFY(turn.tryLock(TurnTimeoutMs));
    const PanelProcess panel;
    plugIn(panel, QStringLiteral("ttyUSB0"));
    rememberImage(100 * RecordSize);
    startProgram();
    const QRect window = areaOf(program().mainWindow());
    take("start", window);
    pressUpdateButton();
    QTRY_VERIFY(program().percent() >= HalfWay);
    take("halfway", window);
    waitForEndOfUpdate();
    QCOMPARE(program().percent(), Full);
    take("done", window);

    program().press(QStringLiteral("ctrl+shift+bracketright"));
    const auto trace = [this] { return program().window(QStringLiteral("Trace")); };
    QTRY_VERIFY(!trace().isNull());
    program().raise(program().mainWindow());
    QVERIFY(QFile::remove(imageFile()));
    pressUpdateButton();
    QTRY_VERIFY(!program().boxTexts().isEmpty());
    take("error", areaOf(program().box()));
    program().closeBox();
    QTRY_VERIFY(program().isIdle());
    program().raise(trace());
    take("trace", areaOf(trace()));
}

QTEST_MAIN(SystemPictures)
#include "tst_pictures.moc"
