// SPDX-License-Identifier: MIT
// Stage: what is to be seen of the program.
#include "tests/walk/stage.h"

#include "app/mainwindow.h"
#include "tests/support/windowprobe.h"
#include "tests/walk/windows.h"
#include "trace/logbrowser.h"

#include <QCursor>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMutexLocker>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTextBrowser>

namespace {

QString onOff(bool isOn)
{
    return isOn ? QStringLiteral(", enabled") : QStringLiteral(", disabled");
}

template<typename Widget> QList<Widget *> shownWindows()
{
    QList<Widget *> found;
    for (QWidget *const widget : QApplication::topLevelWidgets()) {
        auto *const window = qobject_cast<Widget *>(widget);
        if (window && window->isVisible())
            found += window;
    }
    return found;
}

QString boxesNow(bool isFolderSet)
{
    const QString count =
        QString::number(shownWindows<QMessageBox>().size() + shownWindows<QFileDialog>().size());
    if (const QMessageBox *const box = topBox())
        return count + QStringLiteral(": ") + box->informativeText().trimmed();
    if (const QFileDialog *const files = topFileWindow()) // without a folder it opens where Qt likes
        return count + QStringLiteral(": files in ") +
               (isFolderSet ? files->directory().absolutePath() : QString());
    return count;
}

QString labelNow(const QLabel &label)
{
    static const QRegularExpression sheet(QStringLiteral("^color: (green|red); font-size: 10$"));
    return label.text() + u' ' + sheet.match(label.styleSheet()).captured(1);
}

QString menuNow(const QMenu &menu)
{
    QStringList entries;
    for (const QAction *const action : menu.actions())
        entries += (action->isChecked() ? u'*' : u' ') + action->text();
    return entries.join(u';') + onOff(menu.isEnabled());
}

/// Without the time, which is the machine's.
QString barTextNow(const QProgressBar &bar)
{
    static const QRegularExpression time(QStringLiteral("^(Elapsed time): \\d\\d:\\d\\d$"));
    const QRegularExpressionMatch match = time.match(bar.format());
    return match.hasMatch() ? match.captured(1) : bar.format();
}

QString traceTextNow()
{
    QStringList lines = traceDialog()->findChild<QTextBrowser *>()->toPlainText().split(u'\n');
    lines.removeIf([](const QString &line) { return line.isEmpty() || isOfThePlatform(line); });
    return lines.join(u'\n');
}

} // namespace

View Stage::viewNow() const
{
    const WindowProbe probe(*window);
    const auto *const button = probe.widget<QPushButton>("updBtn");
    const auto *const bar = probe.widget<QProgressBar>("progressBar");
    const auto *const address = probe.widget<QSpinBox>("spinBoxAdress");
    const auto *const cursor = QGuiApplication::overrideCursor();
    View view;
    view[QStringLiteral("button")] = button->text() + onOff(button->isEnabled());
    view[QStringLiteral("load image")] = onOff(probe.widget<QPushButton>("loadImg")->isEnabled());
    view[QStringLiteral("field")] = probe.widget<QLineEdit>("lineEdit")->text();
    view[QStringLiteral("bar")] = QStringLiteral("%1 of %2").arg(bar->value()).arg(bar->maximum());
    view[QStringLiteral("bar's text")] = barTextNow(*bar);
    view[QStringLiteral("label")] = labelNow(*probe.widget<QLabel>("labelDevName"));
    view[QStringLiteral("address")] = address->text() + onOff(address->isEnabled());
    if (probe.widget<QLabel>("labelAdress")->isEnabled() != address->isEnabled())
        view[QStringLiteral("address")] += QStringLiteral(", its label is not");
    view[QStringLiteral("menu")] = menuNow(*probe.widget<QMenu>("menuActions"));
    view[QStringLiteral("boxes")] = boxesNow(!probe.imageDirectory().isEmpty());
    view[QStringLiteral("cursor")] =
        cursor ? (cursor->shape() == Qt::WaitCursor ? QStringLiteral("wait") : QStringLiteral("another"))
               : QString();
    view[QStringLiteral("trace")] =
        (traceDialog()->isVisible() ? QStringLiteral("shown") : QStringLiteral("hidden")) +
        (logHandlerInstalled ? QStringLiteral(", recording") : QString());
    view[QStringLiteral("trace's text")] = traceTextNow();
    {
        const QMutexLocker lock(&logMutex);
        view[QStringLiteral("log")] = logged.join(u'\n');
    }
    view[QStringLiteral("settings")] = settingsNow().join(u'\n');
    view[QStringLiteral("wires")] = wires.calls().join(u'\n');
    view[QStringLiteral("held")] = wires.isHeld() ? QStringLiteral("yes") : QString();
    view[QStringLiteral("session")] = probe.sessionOpen() ? QStringLiteral("open") : QString();
    return view;
}

/// The keys that the program writes, as they stand in the file at this moment.
QStringList Stage::settingsNow() const
{
    QFile file(folder.file());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QStringList keys;
    QString group;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts)) {
        if (line.startsWith(u'['))
            group = line;
        else if (group == QStringLiteral("[settings]"))
            keys += line;
    }
    keys.sort();
    return keys;
}
