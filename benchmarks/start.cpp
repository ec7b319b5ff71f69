// SPDX-License-Identifier: MIT
// The time from the program's start to its first drawn frame, and its memory then, next to an empty main
// window's.
//
// An X server without a screen keeps its picture in a file. Nothing but the started program draws there, and
// its window has no background of its own, so the first pixel that is not black is the first frame's.
#include "benchmarks/figure.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>

namespace {

constexpr int Rounds = 15;
constexpr double MostCost = 1.25;

constexpr qsizetype ScreenWidth = 800;
constexpr qsizetype ScreenHeight = 600;
constexpr qsizetype BytesPerPixel = 4;
constexpr qsizetype RowSize = ScreenWidth * BytesPerPixel;
/// Enough rows to meet every window, few enough to look at all the time.
constexpr qsizetype RowStep = 16;

constexpr unsigned long LookAgainUs = 200;
constexpr unsigned long SettleMs = 700;
constexpr qint64 LongestWaitMs = 20000;
constexpr double NanosecondsPerMs = 1e6;
constexpr double KibPerMib = 1024;

/// An X server of its own, and the picture on its screen.
class Screen
{
public:
    Screen()
    {
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.start(QStringLiteral("Xvfb"),
                     {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-nolisten"),
                      QStringLiteral("tcp"), QStringLiteral("-nocursor"), QStringLiteral("-noreset"),
                      QStringLiteral("-fbdir"), folder.path(), QStringLiteral("-screen"), QStringLiteral("0"),
                      QStringLiteral("%1x%2x24").arg(ScreenWidth).arg(ScreenHeight)});
        while (!server.canReadLine() && server.waitForReadyRead()) {
        }
        number = QString::fromLatin1(server.readLine().trimmed());
        picture.setFileName(folder.filePath(QStringLiteral("Xvfb_screen0")));
        if (number.isEmpty() || !picture.open(QIODevice::ReadOnly))
            giveUp(QStringLiteral("cannot start Xvfb"));
        // The pixels stand at the end, behind a header and the colours.
        const uchar *const whole = picture.map(0, picture.size());
        if (!whole || picture.size() < RowSize * ScreenHeight)
            giveUp(QStringLiteral("cannot read Xvfb's picture"));
        pixels = whole + picture.size() - RowSize * ScreenHeight;
    }
    ~Screen()
    {
        server.terminate();
        server.waitForFinished();
    }
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    QString display() const { return QStringLiteral(":") + number; }

    bool isBlack() const
    {
        for (qsizetype row = 0; row < ScreenHeight; row += RowStep) {
            const uchar *const begin = pixels + row * RowSize;
            if (std::any_of(begin, begin + RowSize, [](uchar byte) { return byte != 0; }))
                return false;
        }
        return true;
    }

    void waitUntil(bool black) const
    {
        QElapsedTimer timer;
        timer.start();
        while (isBlack() != black) {
            if (timer.elapsed() > LongestWaitMs)
                giveUp(QStringLiteral("the screen does not change"));
            QThread::usleep(LookAgainUs);
        }
    }

private:
    QTemporaryDir folder;
    QProcess server;
    QString number;
    QFile picture;
    const uchar *pixels = nullptr;
};

/// Over all rounds.
struct Cost
{
    std::vector<double> milliseconds;
    std::vector<double> mebibytes;
};

/// The proportional set size: memory shared with other programs counts in part.
double pssInMib(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/smaps_rollup").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        giveUp(QStringLiteral("the program has ended"));
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("Pss:"))
            return line.simplified().split(' ').value(1).toDouble() / KibPerMib;
    }
    giveUp(QStringLiteral("the system does not tell a process's memory"));
}

void start(Cost &cost, const Screen &screen, const QProcessEnvironment &environment, const QString &program,
           const QStringList &arguments = {})
{
    screen.waitUntil(true);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    screen.waitUntil(false);
    cost.milliseconds.push_back(static_cast<double>(timer.nsecsElapsed()) / NanosecondsPerMs);
    QThread::msleep(SettleMs);
    cost.mebibytes.push_back(pssInMib(process.processId()));
    process.terminate();
    process.waitForFinished();
}

void printCost(const Cost &program, const Cost &other, const QString &what, std::optional<double> most)
{
    printRatio(QStringLiteral("start: time to the first frame") + what, median(program.milliseconds),
               median(other.milliseconds), "ms", 1, most);
    printRatio(QStringLiteral("start: memory (PSS)") + what, median(program.mebibytes),
               median(other.mebibytes), "MiB", 1, most);
}

} // namespace

int main()
{
    const Screen screen;
    const QTemporaryDir settings;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), screen.display());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), settings.path());
    const QString emptyWindow = QStringLiteral(BENCHMARK_EMPTYWINDOW);
    Cost program;
    Cost empty;
    Cost oneWord;
    for (int round = 0; round < Rounds; ++round) {
        start(program, screen, environment, QStringLiteral(ZEPHYRIN_UPDATE));
        start(empty, screen, environment, emptyWindow);
        start(oneWord, screen, environment, emptyWindow, {QStringLiteral("Connection")});
    }
    printCost(program, empty, {}, MostCost);
    printCost(program, oneWord, QStringLiteral(", beside one word"), {});
    return EXIT_SUCCESS;
}
