// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QString>

/// True when a progress bar's `picture` shows just `text` in its middle, dot by dot as the program draws it;
/// an empty text stands for a bar without any. The bar has to be filled, or empty, as far as the text
/// reaches.
bool barShows(const QImage &picture, const QString &text);

/// True when `picture` has writing in the colour, on a grey ground.
bool hasWritingIn(const QColor &colour, const QImage &picture);
