// SPDX-License-Identifier: MIT
#pragma once

#include "tests/walk/step.h"

#include <QList>

#include <functional>

/// The steps of a walk that fails, without those that it fails without, and with the smallest numbers that it
/// still fails with: no step can be left out any more unless `mayGoOn` has said no before that.
QList<Step> shrink(QList<Step> failing, const std::function<bool(const QList<Step> &)> &stillFails,
                   const std::function<bool()> &mayGoOn);
