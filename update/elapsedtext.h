// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// "Elapsed time: MM:SS" for `milliseconds`. Whole hours are dropped.
QString elapsedText(quint32 milliseconds);
