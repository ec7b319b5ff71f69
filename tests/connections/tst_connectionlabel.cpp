// SPDX-License-Identifier: MIT
#include "connections/connectionlabel.h"
#include "tests/support/testcase.h"

#include <QApplication>
#include <QImage>
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

/// The label in a window, on a desktop of this theme.
class Bench
{
public:
    explicit Bench(const QPalette &palette) { become(palette); }
    ~Bench() { QApplication::setPalette(QPalette()); }
    Bench(const Bench &) = delete;
    Bench &operator=(const Bench &) = delete;

    /// The desktop's theme becomes this one.
    void become(const QPalette &palette)
    {
        QApplication::setPalette(palette);
        const QColor ground = QApplication::palette().color(QPalette::Window);
        QVERIFY(QTest::qWaitFor([&] { return window.palette().color(QPalette::Window) == ground; }));
    }

    QImage picture() { return window.grab().toImage(); }

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

/// What is set must not be more than the sheet: a palette of its own would no longer follow the desktop's.
void ConnectionLabelTest::aLightThemeIsLeftAlone()
{
    QFETCH(const QPalette, palette);
    Bench bench(palette);
    bench.label.adaptToTheme();
    QVERIFY(!bench.shown.testAttribute(Qt::WA_SetPalette));

    bench.label.showNoConnection(QStringLiteral("No Connections"));
    bench.label.showConnection(QStringLiteral("COM3"));
    bench.label.adaptToTheme();
    QVERIFY(!bench.shown.autoFillBackground());
    QVERIFY(!bench.shown.palette().isBrushSet(QPalette::Active, QPalette::Window));

    bench.window.resize(400, 100);
    bench.shown.setGeometry(10, 10, 300, 40);
    const QImage picture = bench.picture();
    const QPalette ofTheSheet = bench.shown.palette();
    bench.label.adaptToTheme();
    QCOMPARE(bench.shown.palette().resolveMask(), ofTheSheet.resolveMask());
    bench.shown.hide();
    QLabel plain(QStringLiteral("Connection via COM3"), &bench.window);
    plain.setStyleSheet(Green);
    plain.setGeometry(bench.shown.geometry());
    plain.show();
    QCOMPARE(picture, bench.picture());
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
    QCOMPARE(bench.picture().pixelColor(bench.shown.geometry().bottomRight()), LightLetters);
}

void ConnectionLabelTest::aThemeThatTurnsDarkAndLightAgain()
{
    Bench bench(light());
    bench.shown.resize(300, 40);
    bench.label.showConnection(QStringLiteral("COM3"));
    const QImage before = bench.picture();
    for (int i = 0; i < 2; ++i) {
        bench.become(dark());
        bench.label.adaptToTheme();
        QVERIFY(bench.shown.autoFillBackground());
        QCOMPARE(bench.shown.palette().color(QPalette::Window), LightLetters);
        QVERIFY(bench.picture() != before);

        bench.become(light());
        bench.label.adaptToTheme();
        QVERIFY(!bench.shown.autoFillBackground());
        QCOMPARE(bench.picture(), before);
        QCOMPARE(bench.shown.styleSheet(), Green);
        QVERIFY(!bench.shown.palette().isBrushSet(QPalette::Active, QPalette::Window));
    }
}

QTEST_MAIN(ConnectionLabelTest)
#include "tst_connectionlabel.moc"
