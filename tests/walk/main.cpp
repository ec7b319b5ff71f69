// SPDX-License-Identifier: MIT
// The random walk: the program and a model of it side by side. The walk itself runs in a child process, so
// that one that crashes or hangs can be shrunk like any other.
#include "tests/walk/shrink.h"
#include "tests/walk/walk.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr qint64 DefaultSteps = 2000;
constexpr int PatienceMs = 20000;
/// A program that differs does so at once; only a very busy machine needs more.
constexpr int ShrinkPatienceMs = 1000;
constexpr int ShrinkMs = 180000;
constexpr int Differs = 1;
constexpr int WrongUse = 2;

constexpr const char *MemoryFolder = "/dev/shm";
const QString DiffersPrefix = QStringLiteral("differs: ");

void print(const QString &text)
{
    std::printf("%s\n", qPrintable(text));
    std::fflush(stdout);
}

void report(const Difference &difference)
{
    print(QStringLiteral("%1%2, at step %3\n%4")
              .arg(DiffersPrefix, difference.what)
              .arg(difference.step)
              .arg(difference.report));
    std::_Exit(Differs);
}

void printCounts(const WalkCounts &counts, qint64 ms)
{
    print(QStringLiteral("%1 steps in %2 s: %3 updates, %4 frames, %5 boxes, %6 starts of the program; "
                         "the program is what the model says")
              .arg(counts.steps)
              .arg(static_cast<double>(ms) / 1000, 0, 'f', 1)
              .arg(counts.runs)
              .arg(counts.frames)
              .arg(counts.boxes)
              .arg(counts.starts));
}

/// Draws so many steps, and keeps those that are taken in a file.
int walkAtRandom(qint64 count, quint32 seed, const QString &recordName)
{
    QRandomGenerator random(seed);
    QFile record(recordName);
    if (!record.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return WrongUse;
    qint64 left = count;
    QElapsedTimer time;
    time.start();
    const WalkCounts counts = walk([&] { return left > 0 ? std::optional(drawStep(random)) : std::nullopt; },
                                   [&](const Step &step) {
                                       --left;
                                       record.write(step.text().toLatin1() + '\n');
                                   },
                                   report, PatienceMs);
    printCounts(counts, time.elapsed());
    return EXIT_SUCCESS;
}

int replay(const QString &fileName, int patienceMs, bool isShown)
{
    const QList<Step> steps = readSteps(fileName);
    qsizetype at = 0;
    QElapsedTimer time;
    time.start();
    const WalkCounts counts =
        walk([&] { return at < steps.size() ? std::optional(steps.at(at++)) : std::nullopt; },
             [&](const Step &step) {
                 if (isShown)
                     print(step.text());
             },
             report, patienceMs);
    printCounts(counts, time.elapsed());
    return EXIT_SUCCESS;
}

struct Ending
{
    QString what; ///< empty when the walk agreed
    QString output;
};

Ending runChild(const QStringList &arguments)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), arguments);
    if (!child.waitForFinished(-1))
        return {QStringLiteral("does not start"), {}};
    const QString output = QString::fromUtf8(child.readAllStandardOutput());
    if (child.exitStatus() == QProcess::NormalExit && child.exitCode() == EXIT_SUCCESS)
        return {{}, output};
    const qsizetype at = output.indexOf(DiffersPrefix);
    if (at < 0)
        return {QStringLiteral("crash"), output + QStringLiteral("the program has crashed")};
    const QString what = output.mid(at + DiffersPrefix.size()).section(QStringLiteral(", at"), 0, 0);
    return {what, output};
}

/// Walks in a child process. A walk that fails is shrunk, and its shortest form left in a file.
int walkAndShrink(qint64 count, quint32 seed)
{
    print(QStringLiteral("%1 steps, seed %2").arg(count).arg(seed));
    const QTemporaryDir folder; // takes with it what a child that fails leaves behind
    qputenv("TMPDIR", folder.path().toLocal8Bit());
    const QString record = folder.filePath(QStringLiteral("steps"));
    const Ending ending =
        runChild({QStringLiteral("--walk"), QString::number(count), QString::number(seed), record});
    print(ending.output);
    if (ending.what.isEmpty())
        return EXIT_SUCCESS;

    print(QStringLiteral("seed %1 fails; looking for the shortest way there").arg(seed));
    const QString shortest = QStringLiteral("walk-%1.steps").arg(seed);
    const QDeadlineTimer deadline(ShrinkMs);
    const QList<Step> steps = shrink(
        readSteps(record),
        [&](const QList<Step> &fewer) {
            return writeSteps(fewer, shortest) &&
                   runChild({QStringLiteral("--try"), shortest}).what == ending.what;
        },
        [&deadline] { return !deadline.hasExpired(); });
    if (!writeSteps(steps, shortest))
        print(QStringLiteral("cannot write ") + shortest);
    print(
        QStringLiteral("the shortest that still fails, %1 steps, is in %2:").arg(steps.size()).arg(shortest));
    print(runChild({QStringLiteral("--replay"), shortest}).output);
    return Differs;
}

} // namespace

int main(int argc, char *argv[])
{
    // The settings file is written at most steps. In memory that takes no time.
    if (QFileInfo(QString::fromLatin1(MemoryFolder)).isWritable() && qEnvironmentVariableIsEmpty("TMPDIR"))
        qputenv("TMPDIR", MemoryFolder);
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString mode = arguments.value(0);
    if (mode == QStringLiteral("--walk"))
        return walkAtRandom(arguments.value(1).toLongLong(), arguments.value(2).toUInt(), arguments.value(3));
    if (mode == QStringLiteral("--replay") || mode == QStringLiteral("--try")) {
        const bool isShown = mode == QStringLiteral("--replay");
        return replay(arguments.value(1), isShown ? PatienceMs : ShrinkPatienceMs, isShown);
    }
    bool isNumber = true;
    const qint64 count = mode.isEmpty() ? DefaultSteps : mode.toLongLong(&isNumber);
    bool isSeed = true;
    const quint32 seed =
        arguments.size() > 1 ? arguments.at(1).toUInt(&isSeed) : QRandomGenerator::global()->generate();
    if (!isNumber || !isSeed || count < 1 || arguments.size() > 2) {
        std::fputs("usage: walk [STEPS [SEED]] | --replay FILE\n", stderr);
        return WrongUse;
    }
    return walkAndShrink(count, seed);
}
