// SPDX-License-Identifier: MIT
#include "tests/system/updateprogram.h"

#include "tests/system/child.h"
#include "tests/system/desktop.h"

#include <QFile>
#include <QTest>

#include <signal.h>
#include <unistd.h>

#include <array>

namespace {

using Role = Accessible::Role;
using State = Accessible::State;

/// What takes a moment on an idle machine may take long on a loaded one.
constexpr int PatienceMs = 30000;
constexpr qint64 MillisecondsPerSecond = 1000;
/// Where the two times stand in /proc/PID/stat, counted from the state.
constexpr qsizetype UserTimeWord = 11;
constexpr qsizetype SystemTimeWord = 12;
constexpr double WholePercent = 100;

const QString MainWindowTitle = QStringLiteral("Zephyrin Update Utility 1.0.4");

/// Variables by which made-up devices reach the processes that a test starts.
constexpr std::array<const char *, 2> DeviceVariables{"LD_PRELOAD", "UMOCKDEV_DIR"};

} // namespace

UpdateProgram::UpdateProgram(const Desktop &surface) : desktop(surface), variables(surface.environment())
{
    process.setProcessChannelMode(QProcess::MergedChannels);
}

UpdateProgram::~UpdateProgram()
{
    if (process.state() == QProcess::NotRunning)
        return;
    thaw();
    endChild(process);
}

void UpdateProgram::start(const QString &configFolder)
{
    for (const char *const name : DeviceVariables)
        variables.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
    variables.insert(QStringLiteral("XDG_CONFIG_HOME"), configFolder);
    root = {};
    startChild(process, variables, QStringLiteral(ZEPHYRIN_UPDATE));
    const auto isActive = [this] {
        if (mainWindow().is(State::Active))
            return true;
        // A window manager that has just started may sleep over the window until something else happens.
        press(QStringLiteral("Shift_L"));
        return false;
    };
    QVERIFY2(QTest::qWaitFor(isActive, PatienceMs), qPrintable(printed()));
}

std::optional<int> UpdateProgram::close(int timeoutMs)
{
    raise(mainWindow());
    press(QStringLiteral("alt+F4"));
    return waitForEnd(timeoutMs);
}

std::optional<int> UpdateProgram::waitForEnd(int timeoutMs)
{
    const bool ended = QTest::qWaitFor([this] { return process.state() == QProcess::NotRunning; }, timeoutMs);
    return ended && process.exitStatus() == QProcess::NormalExit ? std::optional(process.exitCode())
                                                                 : std::nullopt;
}

void UpdateProgram::freeze() const
{
    ::kill(static_cast<pid_t>(processId()), SIGSTOP);
}

void UpdateProgram::thaw() const
{
    ::kill(static_cast<pid_t>(processId()), SIGCONT);
}

void UpdateProgram::kill()
{
    process.kill();
    QVERIFY(process.waitForFinished(PatienceMs));
}

std::chrono::milliseconds UpdateProgram::processorTime() const
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(processId()));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // The program's name, which may hold blanks, ends with the last parenthesis; the state is the word behind
    // it.
    const QByteArray line = file.readAll();
    const QList<QByteArray> words = line.mid(line.lastIndexOf(')') + 2).split(' ');
    const qint64 ticks = words.value(UserTimeWord).toLongLong() + words.value(SystemTimeWord).toLongLong();
    return std::chrono::milliseconds(ticks * MillisecondsPerSecond / ::sysconf(_SC_CLK_TCK));
}

QString UpdateProgram::printed()
{
    output += process.readAll();
    return QString::fromLocal8Bit(output);
}

Accessible UpdateProgram::application() const
{
    if (root.isNull())
        root = desktop.application(processId());
    return root;
}

Accessible UpdateProgram::mainWindow() const
{
    return window(MainWindowTitle);
}

Accessible UpdateProgram::window(const QString &title) const
{
    for (const Accessible &window : application().children()) {
        if (window.name() == title && window.is(State::Showing))
            return window;
    }
    return {};
}

double UpdateProgram::percent() const
{
    const Accessible bar = progressBar();
    const double range = bar.highest() - bar.lowest();
    return range > 0 ? (bar.value() - bar.lowest()) / range * WholePercent : 0;
}

Accessible UpdateProgram::connectionMenu() const
{
    return mainWindow().first(Role::MenuItem, QStringLiteral("Connection"));
}

QStringList UpdateProgram::connections() const
{
    QStringList names;
    for (const Accessible &entry : connectionMenu().all(Role::MenuItem))
        names += entry.name();
    return names;
}

QStringList UpdateProgram::checkedConnections() const
{
    QStringList names;
    for (const Accessible &entry : connectionMenu().all(Role::MenuItem)) {
        if (entry.is(State::Checked))
            names += entry.name();
    }
    return names;
}

void UpdateProgram::chooseConnection(const QString &name) const
{
    click(connectionMenu());
    Accessible entry;
    const auto isOpen = [&] {
        entry = connectionMenu().first(Role::MenuItem, name);
        return entry.is(State::Showing);
    };
    QVERIFY2(QTest::qWaitFor(isOpen, PatienceMs), qPrintable(name));
    click(entry);
    QVERIFY(QTest::qWaitFor([&] { return !entry.is(State::Showing); }, PatienceMs));
}

void UpdateProgram::click(const Accessible &object) const
{
    const QRect area = object.extents();
    QVERIFY2(area.isValid(), qPrintable(object.name()));
    desktop.click(area.center());
}

void UpdateProgram::raise(const Accessible &window) const
{
    desktop.raise(window.name());
    QVERIFY(QTest::qWaitFor([&] { return window.is(State::Active); }, PatienceMs));
}

void UpdateProgram::press(const QString &keys) const
{
    desktop.press(keys);
}

void UpdateProgram::type(const QString &text) const
{
    desktop.type(text);
}

void UpdateProgram::fill(const Accessible &field, const QString &text) const
{
    click(field);
    QVERIFY(QTest::qWaitFor([&] { return field.is(State::Focused); }, PatienceMs));
    press(QStringLiteral("ctrl+a"));
    type(text);
}

void UpdateProgram::answerFileDialog(const QString &title, const QString &path) const
{
    const auto isReady = [&] {
        return window(title).first(Role::Text, QStringLiteral("File name:")).is(State::Focused) &&
               window(title).is(State::Active);
    };
    QVERIFY2(QTest::qWaitFor(isReady, PatienceMs), qPrintable(title));
    const Accessible field = window(title).first(Role::Text, QStringLiteral("File name:"));
    if (path.isEmpty()) {
        press(QStringLiteral("Escape"));
    } else {
        // What the dialog completes while the letters come in can take the place of some of them.
        constexpr int TypedMs = 2000;
        const auto isTyped = [&] {
            press(QStringLiteral("ctrl+a"));
            type(path);
            return QTest::qWaitFor([&] { return field.text() == path; }, TypedMs);
        };
        QVERIFY2(QTest::qWaitFor(isTyped, PatienceMs), qPrintable(field.text()));
        press(QStringLiteral("Return"));
    }
    QVERIFY(QTest::qWaitFor([&] { return window(title).isNull(); }, PatienceMs));
}

Accessible UpdateProgram::box() const
{
    for (const Accessible &window : application().children()) {
        if (window.role() == Role::Alert && window.is(State::Showing))
            return window;
    }
    return {};
}

QStringList UpdateProgram::boxTexts() const
{
    QStringList texts;
    for (const Accessible &label : box().all(Role::Label))
        texts += label.name();
    texts.removeAll(QString()); // the icon
    return texts;
}

void UpdateProgram::closeBox() const
{
    const Accessible open = box();
    QVERIFY(!open.isNull());
    // Before that, the window manager may still move it away from under the mouse.
    QVERIFY(QTest::qWaitFor([&] { return open.is(State::Active); }, PatienceMs));
    click(open.first(Role::PushButton));
    QVERIFY(QTest::qWaitFor([&] { return !open.is(State::Showing); }, PatienceMs));
}

QImage UpdateProgram::picture(const Accessible &object) const
{
    return desktop.picture().copy(object.extents());
}
