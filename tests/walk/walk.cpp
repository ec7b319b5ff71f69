// SPDX-License-Identifier: MIT
#include "tests/walk/walk.h"

#include "tests/walk/model.h"
#include "tests/walk/stage.h"

#include <QDeadlineTimer>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <thread>

namespace {

/// Once in a while the system's lock of a port is held by somebody else on the machine. Then the port does
/// not open for that reason, and one failure to open counts like the other.
bool isLike(View expected, View seen)
{
    const QString locked = QStringLiteral("Permission error while locking the device");
    if (!QStringList(seen.values()).join(u'\n').contains(locked))
        return seen == expected;
    for (const int error : {ENOENT, EISDIR}) {
        const QString text = QString::fromLocal8Bit(std::strerror(error));
        for (View *const view : {&expected, &seen}) {
            for (QString &value : *view)
                value.replace(text, locked);
        }
    }
    return seen == expected;
}

class Walker
{
public:
    Walker(Stage &program, const Site &where, int patience)
        : stage(program), model(where), patienceMs(patience)
    {
    }

    WalkCounts counts() const { return {steps, model.runs(), model.frames(), model.boxes(), model.starts()}; }

    std::optional<Difference> walk(const std::function<std::optional<Step>()> &next,
                                   const std::function<void(const Step &)> &onStep)
    {
        std::optional<Difference> difference = compare();
        for (std::optional<Step> step; !difference && (step = next());) {
            if (take(*step, onStep))
                difference = compare();
        }
        // Every walk ends with an idle program and no box, so that the last window can be closed.
        while (!difference && (model.hasBox() || model.isHeld())) {
            take(ending(), onStep);
            difference = compare();
        }
        return difference;
    }

private:
    Step ending() const
    {
        if (model.hasFileWindow())
            return {Step::Kind::CancelFiles};
        return {model.hasBox() ? Step::Kind::Answer : Step::Kind::LetGo};
    }

    bool take(const Step &step, const std::function<void(const Step &)> &onStep)
    {
        if (!model.apply(step))
            return false;
        onStep(step);
        stage.perform(step, model);
        ++steps;
        return true;
    }

    std::optional<Difference> compare()
    {
        const View expected = model.view();
        const QDeadlineTimer deadline(patienceMs);
        View seen = stage.look();
        // Twice the same: nothing is under way behind it.
        while (!seen.isEmpty() && (!isLike(expected, seen) || !isLike(expected, seen = stage.look()))) {
            if (deadline.hasExpired())
                return difference(expected, seen);
            QThread::usleep(PollUs);
            seen = stage.look();
        }
        if (seen.isEmpty())
            return Difference{steps, QStringLiteral("hangs"), QStringLiteral("the program does not answer")};
        stage.forget();
        return std::nullopt;
    }

    Difference difference(const View &expected, const View &seen) const
    {
        Difference found{steps, {}, {}};
        for (auto entry = expected.begin(); entry != expected.end(); ++entry) {
            if (seen.value(entry.key()) == entry.value())
                continue;
            if (found.what.isEmpty())
                found.what = entry.key();
            found.report += QStringLiteral("  %1\n    must be: %2\n    is:      %3\n")
                                .arg(entry.key(), entry.value(), seen.value(entry.key()));
        }
        return found;
    }

    static constexpr unsigned long PollUs = 200;

    Stage &stage;
    Model model;
    const int patienceMs;
    qint64 steps = 0;
};

} // namespace

WalkCounts walk(const std::function<std::optional<Step>()> &next,
                const std::function<void(const Step &)> &onStep,
                const std::function<void(const Difference &)> &onDifference, int patienceMs)
{
    const Site site;
    Stage stage(site);
    WalkCounts counts;
    std::thread thread([&] {
        Walker walker(stage, site, patienceMs);
        if (const std::optional<Difference> difference = walker.walk(next, onStep))
            onDifference(*difference);
        counts = walker.counts();
        stage.finish();
    });
    stage.run();
    thread.join();
    return counts;
}
