// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// "Elapsed time: MM:SS" for `milliseconds`. Whole hours are dropped.
QString elapsedText(quint32 milliseconds);
