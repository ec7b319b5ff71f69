// SPDX-License-Identifier: MIT
#include "benchmarks/figure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

QString orDash(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QString number(double value, const char *unit, int decimals)
{
    return QString::asprintf("%.*f %s", decimals, value, unit);
}

} // namespace

void print(const Figure &figure)
{
    const char *const verdict = !figure.met ? "" : *figure.met ? "met" : "missed";
    std::printf("%-50s %14s %14s %7s  %-12s %s\n", qPrintable(figure.name), qPrintable(figure.measured),
                qPrintable(orDash(figure.beside)), qPrintable(orDash(figure.ratio)),
                qPrintable(orDash(figure.aim)), verdict);
    std::fflush(stdout);
}

void printRatio(const QString &name, double measured, double beside, const char *unit, int decimals,
                std::optional<double> most)
{
    const double ratio = measured / beside;
    Figure figure{name,
                  number(measured, unit, decimals),
                  number(beside, unit, decimals),
                  QString::asprintf("%.2f", ratio),
                  {},
                  {}};
    if (most) {
        figure.aim = QString::asprintf("<= %.2f x", *most);
        figure.met = ratio <= *most;
    }
    print(figure);
}

double quantile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    const double last = static_cast<double>(values.size() - 1);
    return values[static_cast<std::size_t>(std::lround(share * last))];
}

double median(const std::vector<double> &values)
{
    return quantile(values, 0.5);
}

QByteArray sampleImage(qsizetype size)
{
    constexpr qsizetype Stride = 7;
    constexpr qsizetype RowLength = 251; // prime: no row of blocks or chunks looks like the one before
    QByteArray image(size, '\0');
    for (qsizetype i = 0; i < size; ++i)
        image[i] = static_cast<char>(i * Stride + i / RowLength);
    return image;
}

void giveUp(const QString &why)
{
    std::fprintf(stderr, "%s\n", qPrintable(why));
    std::exit(EXIT_FAILURE);
}
