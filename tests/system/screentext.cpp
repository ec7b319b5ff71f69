// SPDX-License-Identifier: MIT
#include "tests/system/screentext.h"

#include <QFont>
#include <QFontMetrics>
#include <QPainter>

#include <algorithm>

namespace {

constexpr int BarFontPointSize = 9;
constexpr int BarFrameWidth = 1;
/// Edges of letters are mixed with the ground; their middle is not far from the colour itself.
constexpr int LargestColourDistance = 100;

/// The bar's ground varies from row to row only.
QImage groundOf(const QImage &bar)
{
    QImage ground(bar.size(), bar.format());
    for (int y = 0; y < bar.height(); ++y) {
        for (int x = 0; x < bar.width(); ++x)
            ground.setPixel(x, y, bar.pixel(BarFrameWidth, y));
    }
    return ground;
}

int distance(const QColor &a, const QColor &b)
{
    return std::max({qAbs(a.red() - b.red()), qAbs(a.green() - b.green()), qAbs(a.blue() - b.blue())});
}

} // namespace

bool barShows(const QImage &picture, const QString &text)
{
    QImage expected = groundOf(picture);
    QPainter painter(&expected);
    QFont font;
    font.setPointSize(BarFontPointSize);
    painter.setFont(font);
    // A style sets text at whole dots; centred by the painter it could begin at half a dot.
    painter.drawText(painter.fontMetrics().boundingRect(picture.rect(), Qt::AlignCenter, text),
                     Qt::AlignLeft | Qt::AlignVCenter, text);
    painter.end();
    const QRect middle =
        picture.rect().adjusted(picture.width() / 4, BarFrameWidth, -picture.width() / 4, -BarFrameWidth);
    return picture.copy(middle) == expected.copy(middle);
}

bool hasWritingIn(const QColor &colour, const QImage &picture)
{
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (distance(picture.pixelColor(x, y), colour) < LargestColourDistance)
                return true;
        }
    }
    return false;
}
