// SPDX-License-Identifier: MIT
#include "tests/walk/step.h"

#include <QFile>
#include <QTextStream>

#include <algorithm>
#include <array>

namespace {

struct Row
{
    Step::Kind kind;
    const char *word;
    int weight;  ///< how often it is drawn, beside the others
    int numbers; ///< its number is less than this
};

constexpr std::array Rows{
    Row{Step::Kind::Press, "press", 24, 1},
    Row{Step::Kind::Choose, "choose", 8, 12},
    Row{Step::Kind::PlugIn, "plug-in", 8, 28},
    Row{Step::Kind::PullOut, "pull-out", 4, 28},
    Row{Step::Kind::Notice, "notice", 3, 10},
    Row{Step::Kind::Address, "address", 4, 100},
    Row{Step::Kind::OpenFiles, "open-files", 4, 1},
    Row{Step::Kind::PickFile, "pick-file", 20, 5},
    Row{Step::Kind::CancelFiles, "cancel-files", 3, 1},
    Row{Step::Kind::Type, "type", 1, 3},
    Row{Step::Kind::HotKey, "hot-key", 4, 1},
    Row{Step::Kind::ClearTrace, "clear-trace", 2, 1},
    Row{Step::Kind::CloseTrace, "close-trace", 1, 1},
    Row{Step::Kind::Answer, "answer", 30, 1},
    Row{Step::Kind::LetGo, "let-go", 30, 9},
    Row{Step::Kind::Fault, "fault", 8, 5},
    Row{Step::Kind::RemoveImage, "remove-image", 1, 5},
    Row{Step::Kind::RestoreImage, "restore-image", 8, 5},
    Row{Step::Kind::Close, "close", 2, 1},
};

constexpr int AllWeights = [] {
    int sum = 0;
    for (const Row &row : Rows)
        sum += row.weight;
    return sum;
}();

const char *wordOf(Step::Kind kind)
{
    return std::find_if(Rows.begin(), Rows.end(), [kind](const Row &row) { return row.kind == kind; })->word;
}

} // namespace

QString Step::text() const
{
    return QStringLiteral("%1 %2").arg(QString::fromLatin1(wordOf(kind))).arg(number);
}

std::optional<Step> stepOf(const QString &line)
{
    const QString word = line.section(u' ', 0, 0);
    const auto *const row = std::find_if(
        Rows.begin(), Rows.end(), [&word](const Row &one) { return word == QLatin1StringView(one.word); });
    bool isNumber = false;
    const int number = line.section(u' ', 1).toInt(&isNumber);
    return row != Rows.end() && isNumber && number >= 0 ? std::optional(Step{row->kind, number})
                                                        : std::nullopt;
}

QList<Step> readSteps(const QString &fileName)
{
    QList<Step> steps;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        qFatal("cannot read %s", qPrintable(fileName));
    QTextStream lines(&file);
    while (!lines.atEnd()) {
        const QString line = lines.readLine().trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        const std::optional<Step> step = stepOf(line);
        if (!step)
            qFatal("no step: %s", qPrintable(line));
        steps += *step;
    }
    return steps;
}

bool writeSteps(const QList<Step> &steps, const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    for (const Step &step : steps)
        file.write(step.text().toLatin1() + '\n');
    return file.flush();
}

Step drawStep(QRandomGenerator &random)
{
    int left = random.bounded(AllWeights);
    for (const Row &row : Rows) {
        left -= row.weight;
        if (left < 0)
            return {row.kind, random.bounded(row.numbers)};
    }
    Q_UNREACHABLE();
}
