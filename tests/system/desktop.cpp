// SPDX-License-Identifier: MIT
#include "tests/system/desktop.h"

#include "tests/system/child.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QRegularExpression>
#include <QTest>

namespace {

constexpr int StartTimeoutMs = 30000;
/// Between two keys; as quick as a very quick typist.
constexpr int KeyDelayMs = 6;

const QString SessionBus = QStringLiteral("session of the test's desktop");
const QString AccessibilityBus = QStringLiteral("accessibility of the test's desktop");

/// The environment of this process without what makes it a test on made-up devices without a screen.
QProcessEnvironment plainEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *const name : {"LD_PRELOAD", "UMOCKDEV_DIR", "QT_QPA_PLATFORM", "DISPLAY",
                                   "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "AT_SPI_BUS_ADDRESS",
                                   "XDG_CURRENT_DESKTOP", "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE"})
        environment.remove(QString::fromLatin1(name));
    return environment;
}

} // namespace

Desktop::Desktop() : variables(plainEnvironment())
{
    variables.insert(QStringLiteral("HOME"), home.path());
    variables.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
    variables.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    variables.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    variables.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    startScreen();
    startWindowManager();
    startAccessibility();
}

Desktop::~Desktop()
{
    QDBusConnection::disconnectFromBus(AccessibilityBus);
    QDBusConnection::disconnectFromBus(SessionBus);
    endChild(accessibilityLauncher);
    endChild(sessionBus);
    endChild(windowManager);
    endChild(screen);
}

void Desktop::startScreen()
{
    // A server without clients would begin afresh, and throw out whoever just connects.
    const QString options =
        QStringLiteral("-displayfd 1 -noreset -nolisten tcp -screen 0 1280x800x24 -dpi 96");
    startChild(screen, variables, QStringLiteral("Xvfb"), options.split(u' '));
    const QString number = readLine(screen);
    QVERIFY2(!number.isEmpty(), screen.readAllStandardError().constData());
    variables.insert(QStringLiteral("DISPLAY"), QStringLiteral(":") + number);
}

void Desktop::startWindowManager()
{
    startChild(windowManager, variables, QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    const auto isRunning = [this] {
        return tool(QStringLiteral("xprop"),
                    {QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")})
            .contains("window id");
    };
    QVERIFY2(QTest::qWaitFor(isRunning, StartTimeoutMs), windowManager.readAllStandardError().constData());
    // The very first key has the window manager look at the keyboard anew: it misses what follows at once.
    press(QStringLiteral("Shift_L"));
}

void Desktop::startAccessibility()
{
    startChild(sessionBus, variables, QStringLiteral("dbus-daemon"),
               {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    const QString address = readLine(sessionBus);
    QVERIFY2(!address.isEmpty(), sessionBus.readAllStandardError().constData());
    variables.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);

    startChild(accessibilityLauncher, variables, QStringLiteral("/usr/libexec/at-spi-bus-launcher"),
               {QStringLiteral("--launch-immediately")});
    const QDBusConnection session = QDBusConnection::connectToBus(address, SessionBus);
    const QDBusMessage question =
        QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                       QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"));
    QString accessibilityAddress;
    QVERIFY(QTest::qWaitFor(
        [&] {
            accessibilityAddress = session.call(question).arguments().value(0).toString();
            return accessibilityAddress.startsWith(QStringLiteral("unix:"));
        },
        StartTimeoutMs));
    accessibilityBus = QDBusConnection::connectToBus(accessibilityAddress, AccessibilityBus);
    QVERIFY(accessibilityBus.isConnected());
}

Accessible Desktop::application(qint64 processId) const
{
    const QDBusConnectionInterface *const bus = accessibilityBus.interface();
    const QStringList names = bus->registeredServiceNames().value();
    for (const QString &name : names) {
        if (!name.startsWith(u':') || bus->servicePid(name).value() != static_cast<uint>(processId))
            continue;
        const Accessible application = Accessible::application(accessibilityBus, name);
        if (application.role() == Accessible::Role::Application)
            return application;
    }
    return {};
}

void Desktop::click(QPoint point) const
{
    tool(QStringLiteral("xdotool"),
         {QStringLiteral("mousemove"), QString::number(point.x()), QString::number(point.y()),
          QStringLiteral("click"), QStringLiteral("1")});
}

void Desktop::raise(const QString &title) const
{
    const QString pattern = QStringLiteral("^%1$").arg(QRegularExpression::escape(title));
    tool(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                     QStringLiteral("--name"), pattern, QStringLiteral("windowactivate")});
}

bool Desktop::demandsAttention(qint64 processId, const QString &title) const
{
    const QString pattern = QStringLiteral("^%1$").arg(QRegularExpression::escape(title));
    const QByteArray window =
        tool(QStringLiteral("xdotool"),
             {QStringLiteral("search"), QStringLiteral("--all"), QStringLiteral("--onlyvisible"),
              QStringLiteral("--pid"), QString::number(processId), QStringLiteral("--name"), pattern});
    const QByteArray state =
        tool(QStringLiteral("xprop"),
             {QStringLiteral("-id"), QString::fromLatin1(window.trimmed()), QStringLiteral("_NET_WM_STATE")});
    [&] { QVERIFY2(state.startsWith("_NET_WM_STATE"), state.constData()); }();
    return state.contains("_NET_WM_STATE_DEMANDS_ATTENTION");
}

void Desktop::press(const QString &keys) const
{
    tool(QStringLiteral("xdotool"), {QStringLiteral("key"), keys});
}

void Desktop::type(const QString &text) const
{
    tool(QStringLiteral("xdotool"),
         {QStringLiteral("type"), QStringLiteral("--delay"), QString::number(KeyDelayMs), text});
}

QImage Desktop::picture() const
{
    const QStringList arguments{QStringLiteral("-window"), QStringLiteral("root"), QStringLiteral("-depth"),
                                QStringLiteral("8"), QStringLiteral("ppm:-")};
    return QImage::fromData(tool(QStringLiteral("/usr/bin/import"), arguments))
        .convertToFormat(QImage::Format_RGB32);
}

QByteArray Desktop::tool(const QString &program, const QStringList &arguments) const
{
    return runTool(variables, program, arguments);
}
