// SPDX-License-Identifier: MIT
#include "tests/walk/shrink.h"

#include <algorithm>

namespace {

constexpr qsizetype FirstTail = 20;
constexpr qsizetype TailGrowth = 4;

using StillFails = std::function<bool(const QList<Step> &)>;
using MayGoOn = std::function<bool()>;

/// What a failure needs mostly stands right before it.
void cutHead(QList<Step> &steps, const StillFails &stillFails, const MayGoOn &mayGoOn)
{
    for (qsizetype count = FirstTail; count < steps.size() && mayGoOn(); count *= TailGrowth) {
        if (stillFails(steps.last(count))) {
            steps = steps.last(count);
            return;
        }
    }
}

/// Leaves out `count` steps in a row wherever that can be done; whether any was left out.
bool leaveOut(QList<Step> &steps, qsizetype count, const StillFails &stillFails, const MayGoOn &mayGoOn)
{
    bool isShorter = false;
    for (qsizetype from = steps.size() - count; from >= 0 && mayGoOn(); from -= count) {
        QList<Step> fewer = steps;
        fewer.remove(from, count);
        if (stillFails(fewer)) {
            steps = fewer;
            isShorter = true;
        }
        from = std::min(from, steps.size());
    }
    return isShorter;
}

} // namespace

QList<Step> shrink(QList<Step> failing, const StillFails &stillFails, const MayGoOn &mayGoOn)
{
    cutHead(failing, stillFails, mayGoOn);
    // Two steps that belong together, such as Start and Stop, can only go together.
    for (bool isShorter = true; isShorter && mayGoOn();) {
        isShorter = false;
        for (qsizetype count = std::max<qsizetype>(failing.size() / 2, 1); count > 0; count /= 2)
            isShorter = leaveOut(failing, count, stillFails, mayGoOn) || isShorter;
    }
    for (qsizetype i = 0; i < failing.size() && mayGoOn(); ++i) {
        QList<Step> simpler = failing;
        simpler[i].number = 0;
        if (failing.at(i).number != 0 && stillFails(simpler))
            failing = simpler;
    }
    return failing;
}
