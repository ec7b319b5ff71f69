// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

/// One line of the table of figures.
struct Figure
{
    QString name;
    QString measured;
    QString beside; ///< what it is held against; empty for nothing
    QString ratio;  ///< empty for none
    QString aim;    ///< empty for none
    std::optional<bool> met;
};

void print(const Figure &figure);

/// "measured is at most `most` times beside", with both numbers in `unit` to `decimals` places.
void printRatio(const QString &name, double measured, double beside, const char *unit, int decimals,
                std::optional<double> most);

/// The value below which the share `share` (0 to 1) of `values` lies; `values` is not empty.
double quantile(std::vector<double> values, double share);
double median(const std::vector<double> &values);

/// `size` bytes of an image, never the same byte for long.
QByteArray sampleImage(qsizetype size);

/// Ends the process: a benchmark that cannot measure has no figure to print.
[[noreturn]] void giveUp(const QString &why);
