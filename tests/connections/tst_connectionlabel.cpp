// SPDX-License-Identifier: MIT
#include "connections/connectionlabel.h"
#include "tests/support/testcase.h"

#include <QLabel>
#include <QPalette>
#include <QWidget>

namespace {

const QString Green = QStringLiteral("color: green; font-size: 10");
const QString Red = QStringLiteral("color: red; font-size: 10");

QPalette theme(const QColor &ground, const QColor &letters)
{
    QPalette palette;
    palette.setColor(QPalette::Window, ground);
    palette.setColor(QPalette::WindowText, letters);
    return palette;
}

const QColor DarkGround(0x20, 0x21, 0x22);
const QColor LightLetters(0xf0, 0xf1, 0xf2);

/// The label in a window, on a theme of its own.
class Bench
{
public:
    explicit Bench(const QPalette &palette) { window.setPalette(palette); }

    QWidget window;
    QLabel shown{&window};
    ConnectionLabel label{shown};
};

QPalette dark()
{
    return theme(DarkGround, LightLetters);
}

QPalette light()
{
    return theme(Qt::white, Qt::black);
}

} // namespace

/// The coloured text that names the connection, on light themes and on dark ones.
class ConnectionLabelTest : public TestCase
{
    Q_OBJECT

private slots:
    void aThemeIsDarkByItsLetters_data();
    void aThemeIsDarkByItsLetters();
    void theTextAndItsColour_data();
    void theTextAndItsColour();
    void aLightThemeIsLeftAlone_data();
    void aLightThemeIsLeftAlone();
    void aDarkThemeGetsALightGround_data();
    void aDarkThemeGetsALightGround();
    void aThemeThatTurnsDarkAndLightAgain();
};

void ConnectionLabelTest::aThemeIsDarkByItsLetters_data()
{
    QTest::addColumn<QColor>("ground");
    QTest::addColumn<QColor>("letters");
    QTest::addColumn<bool>("isDark");
    QTest::newRow("black on white") << QColor(Qt::white) << QColor(Qt::black) << false;
    QTest::newRow("white on black") << QColor(Qt::black) << QColor(Qt::white) << true;
    QTest::newRow("grey on darker grey") << QColor(0x30, 0x30, 0x30) << QColor(0x80, 0x80, 0x80) << true;
    QTest::newRow("dark grey on grey") << QColor(0x80, 0x80, 0x80) << QColor(0x30, 0x30, 0x30) << false;
    QTest::newRow("no difference") << QColor(Qt::gray) << QColor(Qt::gray) << false;
}

void ConnectionLabelTest::aThemeIsDarkByItsLetters()
{
    QFETCH(const QColor, ground);
    QFETCH(const QColor, letters);
    QTEST(isDarkTheme(theme(ground, letters)), "isDark");
}

void ConnectionLabelTest::theTextAndItsColour_data()
{
    QTest::addColumn<bool>("isDark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
}

void ConnectionLabelTest::theTextAndItsColour()
{
    QFETCH(const bool, isDark);
    Bench bench(isDark ? dark() : light());
    bench.label.showConnection(QStringLiteral("COM3"));
    QCOMPARE(bench.shown.text(), QStringLiteral("Connection via COM3"));
    QCOMPARE(bench.shown.styleSheet(), Green);
    bench.label.showNoConnection(QStringLiteral("No Available Connections"));
    QCOMPARE(bench.shown.text(), QStringLiteral("No Available Connections"));
    QCOMPARE(bench.shown.styleSheet(), Red);
    bench.label.showConnection(QString());
    QCOMPARE(bench.shown.text(), QStringLiteral("Connection via "));
    QCOMPARE(bench.shown.styleSheet(), Green);
}

void ConnectionLabelTest::aLightThemeIsLeftAlone_data()
{
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("the desktop's") << QPalette();
    QTest::newRow("black on white") << light();
    QTest::newRow("blue on yellow") << theme(Qt::yellow, Qt::darkBlue);
}

/// What the label sets must not be more than its sheet: a palette of its own would no longer follow the
/// desktop's.
void ConnectionLabelTest::aLightThemeIsLeftAlone()
{
    QFETCH(const QPalette, palette);
    Bench bench(palette);
    QLabel untouched(&bench.window);
    bench.label.adaptToTheme();
    QCOMPARE(bench.shown.palette(), untouched.palette());
    QCOMPARE(bench.shown.palette().resolveMask(), untouched.palette().resolveMask());
    QVERIFY(!bench.shown.testAttribute(Qt::WA_SetPalette));

    bench.label.showNoConnection(QStringLiteral("No Connections"));
    bench.label.showConnection(QStringLiteral("COM3"));
    bench.label.adaptToTheme();
    untouched.setStyleSheet(Green);
    QCOMPARE(bench.shown.palette(), untouched.palette());
    QCOMPARE(bench.shown.palette().resolveMask(), untouched.palette().resolveMask());
    QVERIFY(!bench.shown.autoFillBackground());
}

void ConnectionLabelTest::aDarkThemeGetsALightGround_data()
{
    QTest::addColumn<bool>("isConnected");
    QTest::newRow("green") << true;
    QTest::newRow("red") << false;
}

void ConnectionLabelTest::aDarkThemeGetsALightGround()
{
    QFETCH(const bool, isConnected);
    Bench bench(dark());
    // Again and again: each sheet takes the label's palette back.
    for (int i = 0; i < 3; ++i) {
        if (isConnected)
            bench.label.showConnection(QStringLiteral("COM3"));
        else
            bench.label.showNoConnection(QStringLiteral("No Connections"));
        QVERIFY(bench.shown.autoFillBackground());
        QCOMPARE(bench.shown.palette().color(QPalette::Window), LightLetters);
    }
    bench.shown.resize(100, 20);
    QCOMPARE(bench.shown.grab().toImage().pixelColor(99, 19), LightLetters);
}

void ConnectionLabelTest::aThemeThatTurnsDarkAndLightAgain()
{
    Bench bench(light());
    bench.label.showConnection(QStringLiteral("COM3"));
    const QPalette before = bench.shown.palette();
    for (int i = 0; i < 2; ++i) {
        bench.window.setPalette(dark());
        bench.label.adaptToTheme();
        QVERIFY(bench.shown.autoFillBackground());
        QCOMPARE(bench.shown.palette().color(QPalette::Window), LightLetters);

        bench.window.setPalette(light());
        bench.label.adaptToTheme();
        QVERIFY(!bench.shown.autoFillBackground());
        QCOMPARE(bench.shown.palette(), before);
        QCOMPARE(bench.shown.palette().resolveMask(), before.resolveMask());
        QCOMPARE(bench.shown.styleSheet(), Green);
    }
    // And it follows the window's again.
    bench.window.setPalette(theme(Qt::yellow, Qt::black));
    QCOMPARE(bench.shown.palette().color(QPalette::Window), QColor(Qt::yellow));
}

QTEST_MAIN(ConnectionLabelTest)
#include "tst_connectionlabel.moc"
