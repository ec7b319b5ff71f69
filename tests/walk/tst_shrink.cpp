// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "tests/walk/shrink.h"

#include <QTemporaryDir>

#include <algorithm>

namespace {

using enum Step::Kind;

QStringList texts(const QList<Step> &steps)
{
    QStringList lines;
    for (const Step &step : steps)
        lines += step.text();
    return lines;
}

qsizetype indexOf(const QList<Step> &steps, Step::Kind kind)
{
    const auto found =
        std::find_if(steps.begin(), steps.end(), [kind](const Step &step) { return step.kind == kind; });
    return found != steps.end() ? found - steps.begin() : -1;
}

/// Fails when the adapter is pulled out some time after a press, and the entry was 3 or more.
bool fails(const QList<Step> &steps)
{
    const qsizetype press = indexOf(steps, Press);
    const qsizetype choose = indexOf(steps, Choose);
    return press >= 0 && choose >= 0 && steps.at(choose).number >= 3 &&
           indexOf(steps.mid(press), PullOut) >= 0;
}

QList<Step> longWalk()
{
    QList<Step> steps(500, Step{Notice, 4});
    steps[20] = {Choose, 5};
    steps[300] = {Press, 0};
    steps[499] = {PullOut, 7};
    return steps;
}

} // namespace

/// How the steps of a walk that fails become fewer, and how they are written down.
class ShrinkTest : public TestCase
{
    Q_OBJECT

private slots:
    void onlyWhatTheFailureNeedsIsLeft();
    void aFailureOfTheLastStepsIsFoundInThem();
    void itStopsWhenTheTimeIsUp();
    void everyDrawnStepIsReadAsItWasWritten();
    void aLineThatIsNoStep_data();
    void aLineThatIsNoStep();
};

void ShrinkTest::onlyWhatTheFailureNeedsIsLeft()
{
    const QList<Step> steps = shrink(longWalk(), fails, [] { return true; });
    QCOMPARE(texts(steps), QStringList({QStringLiteral("choose 5"), QStringLiteral("press 0"),
                                        QStringLiteral("pull-out 0")}));
}

void ShrinkTest::aFailureOfTheLastStepsIsFoundInThem()
{
    int tries = 0;
    const QList<Step> steps = shrink(
        longWalk(),
        [&tries](const QList<Step> &some) {
            ++tries;
            return indexOf(some, PullOut) >= 0;
        },
        [] { return true; });
    QCOMPARE(texts(steps), QStringList{QStringLiteral("pull-out 0")});
    QVERIFY(tries < 100);
}

void ShrinkTest::itStopsWhenTheTimeIsUp()
{
    const auto isTried = [](const QList<Step> &) {
        qFatal("tried");
        return false;
    };
    QCOMPARE(shrink(longWalk(), isTried, [] { return false; }).size(), 500);
}

void ShrinkTest::everyDrawnStepIsReadAsItWasWritten()
{
    QRandomGenerator random(1);
    QList<Step> steps;
    for (int i = 0; i < 2000; ++i)
        steps += drawStep(random);
    for (int kind = 0; kind <= static_cast<int>(Close); ++kind)
        QVERIFY(indexOf(steps, static_cast<Step::Kind>(kind)) >= 0);
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("steps"));
    QVERIFY(writeSteps(steps, file));
    QCOMPARE(texts(readSteps(file)), texts(steps));
}

void ShrinkTest::aLineThatIsNoStep_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("unknown word") << QStringLiteral("jump 1");
    QTest::newRow("no number") << QStringLiteral("press");
    QTest::newRow("no such number") << QStringLiteral("press -1");
    QTest::newRow("empty") << QString();
}

void ShrinkTest::aLineThatIsNoStep()
{
    QFETCH(const QString, line);
    QVERIFY(!stepOf(line));
}

QTEST_GUILESS_MAIN(ShrinkTest)
#include "tst_shrink.moc"
