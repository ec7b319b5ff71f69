// SPDX-License-Identifier: MIT
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"
#include "tests/support/windowbench.h"
#include "trace/logbrowserdialog.h"

#include <QAbstractButton>
#include <QLabel>
#include <QPalette>
#include <QProgressBar>
#include <QScreen>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr quint16 ConverterVendorId = 0x0403;

/// As dark themes have it: what is light on a light theme is dark, and the other way round.
QPalette darkPalette()
{
    QPalette palette(QColor(0x31, 0x36, 0x3b));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, QColor(0xef, 0xf0, 0xf1));
    palette.setColor(QPalette::Base, QColor(0x23, 0x26, 0x29));
    return palette;
}

/// The program's palette, for as long as it lives.
class Theme
{
public:
    explicit Theme(const QPalette &palette) : before(QApplication::palette())
    {
        QApplication::setPalette(palette);
    }
    ~Theme() { QApplication::setPalette(before); }
    Theme(const Theme &) = delete;
    Theme &operator=(const Theme &) = delete;

private:
    QPalette before;
};

/// WCAG 2: the relative luminance, from 0 for black to 1 for white.
double luminance(const QColor &colour)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

/// WCAG 2: the contrast ratio, from 1 to 21.
double contrast(const QColor &one, const QColor &other)
{
    constexpr double Flare = 0.05;
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + Flare) / (darker + Flare);
}

/// The bar without its frame.
QImage pictureOf(QProgressBar &bar, int value, const QString &text)
{
    constexpr int FrameWidth = 2;
    bar.setValue(value);
    bar.setFormat(text);
    const QImage image = bar.grab().toImage().convertToFormat(QImage::Format_RGB32);
    return image.copy(image.rect().adjusted(FrameWidth, FrameWidth, -FrameWidth, -FrameWidth));
}

double lowestContrast(const QImage &ground, const QColor &text)
{
    double lowest = contrast(Qt::black, Qt::white);
    for (int y = 0; y < ground.height(); ++y)
        lowest = std::min(lowest, contrast(ground.pixelColor(ground.width() / 2, y), text));
    return lowest;
}

bool hasColour(const QImage &image, const QColor &colour)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == colour)
                return true;
        }
    }
    return false;
}

} // namespace

/// That what the windows show can be read, whatever the theme and the size of the letters.
class AppearanceTest : public TestCase
{
    Q_OBJECT

private slots:
    void elapsedTimeStandsOutFromTheBar_data();
    void elapsedTimeStandsOutFromTheBar();
    void connectionStandsOutFromItsGround_data();
    void connectionStandsOutFromItsGround();
    void onALightThemeTheBarIsLeftAlone();
    void nothingIsCutOff_data();
    void nothingIsCutOff();
    void longErrorTextsAreWrapped();
    void allWindowsHaveTheProgramsIcon();
};

void AppearanceTest::elapsedTimeStandsOutFromTheBar_data()
{
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("as it comes") << QApplication::palette();
    QTest::newRow("dark") << darkPalette();
}

void AppearanceTest::elapsedTimeStandsOutFromTheBar()
{
    constexpr double Readable = 4.5; // WCAG 2, level AA
    QFETCH(const QPalette, palette);
    const Theme theme(palette);
    WindowBench bench;
    bench.start().show();
    auto &bar = *bench.widget<QProgressBar>("progressBar");
    for (const int value : {bar.minimum(), bar.maximum()}) {
        const QImage ground = pictureOf(bar, value, QString());
        const QImage written = pictureOf(bar, value, QStringLiteral("Elapsed time: 00:00"));
        const QColor text = bar.palette().color(QPalette::Text);
        QVERIFY(!hasColour(ground, text));
        QVERIFY(hasColour(written, text));
        const double lowest = lowestContrast(ground, text);
        QVERIFY2(lowest >= Readable, qPrintable(QString::number(lowest)));
    }
}

void AppearanceTest::connectionStandsOutFromItsGround_data()
{
    QTest::addColumn<QPalette>("first");
    QTest::addColumn<QPalette>("then");
    const QPalette usual = QApplication::palette();
    QTest::newRow("as it comes") << usual << usual;
    QTest::newRow("dark") << darkPalette() << darkPalette();
    QTest::newRow("it turns dark") << usual << darkPalette();
    QTest::newRow("it turns light") << darkPalette() << usual;
}

void AppearanceTest::connectionStandsOutFromItsGround()
{
    constexpr double Recognisable = 3; // WCAG 2, level AA for graphics; its colours are fixed
    QFETCH(const QPalette, first);
    QFETCH(const QPalette, then);
    const Theme theme(first);
    WindowBench bench;
    bench.start().show();
    QApplication::setPalette(then);
    QTRY_COMPARE(bench.window().palette().color(QPalette::Window), then.color(QPalette::Window));
    const auto &label = *bench.widget<QLabel>("labelDevName");
    const auto picture = [&] {
        const QPoint corner = label.mapTo(&bench.window(), QPoint());
        const QPixmap shown = bench.window().grab(QRect(corner, label.size()));
        return shown.toImage().convertToFormat(QImage::Format_RGB32);
    };
    QCOMPARE(label.text(), QStringLiteral("No Available Connections"));
    QVERIFY(hasColour(picture(), Qt::red));
    const QColor ground = picture().pixelColor(0, 0);
    QVERIFY(contrast(ground, Qt::red) >= Recognisable);

    bench.devices.addSerialPort(QStringLiteral("ttyS1"), QStringLiteral("Serial"), ConverterVendorId);
    bench.probe().updateConnections();
    const QColor green(QStringLiteral("green"));
    QVERIFY(hasColour(picture(), green));
    QCOMPARE(picture().pixelColor(0, 0), ground);
    QVERIFY(contrast(ground, green) >= Recognisable);
}

/// The bar's sheet is the only thing that is set, but while the theme is dark.
void AppearanceTest::onALightThemeTheBarIsLeftAlone()
{
    const QPalette usual = QApplication::palette();
    const Theme theme(usual);
    WindowBench bench;
    bench.start().show();
    const auto &bar = *bench.widget<QProgressBar>("progressBar");
    QProgressBar plain(&bench.window());
    plain.setStyleSheet(bar.styleSheet());
    plain.show();
    const auto isPlain = [&] {
        return bar.palette().resolveMask() == plain.palette().resolveMask() &&
               bar.palette().color(QPalette::Text) == plain.palette().color(QPalette::Text);
    };
    QVERIFY(isPlain());
    QApplication::setPalette(darkPalette());
    QTRY_COMPARE(bar.palette().color(QPalette::Text), QColor(Qt::black));
    QApplication::setPalette(usual);
    QTRY_VERIFY(isPlain());
}

void AppearanceTest::nothingIsCutOff_data()
{
    QTest::addColumn<QString>("port");
    QTest::newRow("short") << QStringLiteral("ttyS1");
    QTest::newRow("long") << QStringLiteral("tty.usbserial-of-a-converter-with-a-very-long-name-A50285BI");
}

void AppearanceTest::nothingIsCutOff()
{
    QFETCH(const QString, port);
    WindowBench bench;
    bench.start();
    bench.window().show();
    bench.devices.addSerialPort(port, QStringLiteral("USB Serial"), ConverterVendorId);
    bench.probe().updateConnections();
    QCOMPARE(bench.widget<QLabel>("labelDevName")->text(), QStringLiteral("Connection via ") + port);
    for (const bool updates : {false, true}) {
        bench.widget<QPushButton>("updBtn")->setText(updates ? QStringLiteral("Stop")
                                                             : QStringLiteral("Start Update"));
        for (const QWidget *const widget : bench.window().findChildren<QWidget *>()) {
            if (!qobject_cast<const QLabel *>(widget) && !qobject_cast<const QAbstractButton *>(widget))
                continue;
            const QSize wanted = widget->sizeHint();
            QTRY_VERIFY2(widget->width() >= wanted.width() && widget->height() >= wanted.height(),
                         qPrintable(widget->objectName()));
        }
    }
}

void AppearanceTest::longErrorTextsAreWrapped()
{
    WindowBench bench;
    bench.start();
    const QString text = QStringLiteral("Can't open image file /home/anna/Documents/") +
                         QStringLiteral("firmware images of last year/").repeated(20) +
                         QStringLiteral("panel.INC No such file or directory");
    int boxes = 0;
    const ModalWatch<QMessageBox> watch([&](const QMessageBox &box) {
        ++boxes;
        const auto *const label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel"));
        QVERIFY(label->height() >= label->heightForWidth(label->width()));
        QVERIFY(box.width() <= box.screen()->availableSize().width());
    });
    bench.window().reportError(text);
    QCOMPARE(boxes, 1);
}

void AppearanceTest::allWindowsHaveTheProgramsIcon()
{
    WindowBench bench;
    bench.start();
    const qint64 icon = bench.window().windowIcon().cacheKey();
    QVERIFY(!bench.window().windowIcon().isNull());
    qint64 iconOfBox = 0;
    const ModalWatch<QMessageBox> watch(
        [&](const QMessageBox &box) { iconOfBox = box.windowIcon().cacheKey(); });
    bench.window().reportError(QStringLiteral("It broke"));
    QCOMPARE(iconOfBox, icon);
    const LogBrowserDialog trace(&bench.window(), nullptr);
    QCOMPARE(trace.windowIcon().cacheKey(), icon);
}

QTEST_MAIN(AppearanceTest)
#include "tst_appearance.moc"
