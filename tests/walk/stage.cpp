// SPDX-License-Identifier: MIT
#include "tests/walk/stage.h"

#include "app/mainwindow.h"
#include "tests/support/windowprobe.h"
#include "trace/logbrowser.h"
#include "trace/logbrowserdialog.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMutexLocker>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTest>
#include <QTextBrowser>

#include <memory>

namespace {

/// Only a program that hangs takes so long for anything.
constexpr int HangMs = 60000;

QString onOff(bool isOn)
{
    return isOn ? QStringLiteral(", enabled") : QStringLiteral(", disabled");
}

/// What the offscreen platform says of itself whenever a window is shown.
bool isOfThePlatform(const QString &line)
{
    return line.contains(QStringLiteral("This plugin does not support"));
}

/// A user reaches nothing behind a box or a file window.
bool isReachable(const QWidget *widget)
{
    const QWidget *const modal = QApplication::activeModalWidget();
    return widget->isEnabled() && (!modal || modal == widget->window());
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

LogBrowserDialog *traceDialog()
{
    for (QWidget *const widget : QApplication::topLevelWidgets()) {
        if (auto *const dialog = qobject_cast<LogBrowserDialog *>(widget))
            return dialog;
    }
    return nullptr;
}

QMessageBox *topBox()
{
    return qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
}

QFileDialog *topFileWindow()
{
    return qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
}

void click(QAbstractButton *button)
{
    if (isReachable(button))
        button->click();
}

/// The last step of a name in the file window: the name as it is typed, and the button.
void pickFile(const QString &fileName)
{
    QFileDialog *const files = topFileWindow();
    if (!files)
        return;
    if (fileName.isEmpty())
        return files->reject();
    files->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(fileName);
    QMetaObject::invokeMethod(files, "accept");
}

void pressHotKey(QWidget &window)
{
    if (QApplication::activeModalWidget())
        return;
    if (!QApplication::activeWindow()) { // as a desktop does when the active window has gone
        window.activateWindow();
        if (!QTest::qWaitForWindowActive(&window))
            return;
    }
    QTest::keyClick(QApplication::activeWindow(), Qt::Key_BracketRight, Qt::ControlModifier | Qt::ShiftModifier);
}

void clearTrace()
{
    LogBrowserDialog *const dialog = traceDialog();
    for (QPushButton *const button : dialog->findChildren<QPushButton *>()) {
        if (button->text() == QStringLiteral("Clear"))
            click(button);
    }
}

void changeAddress(QSpinBox &box, int number)
{
    if (!isReachable(&box))
        return;
    if (number < 2)
        box.stepBy(number == 0 ? 1 : -1);
    else
        box.setValue(number);
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

Stage::Stage(const Site &where) : site(where), adapter(Wires::functions()), devices(adapter)
{
    // The shortest pause before a request: a walk waits for the wire often enough.
    folder.setValue(QStringLiteral("options/request_pause"), QStringLiteral("4"));
    qInstallMessageHandler(note);
}

Stage::~Stage()
{
    qInstallMessageHandler(nullptr);
}

void Stage::note(QtMsgType, const QMessageLogContext &, const QString &text)
{
    const QMutexLocker lock(&logMutex);
    if (!isOfThePlatform(text))
        logged += text.trimmed();
}

void Stage::run()
{
    for (bool goesOn = true; goesOn;) {
        auto program = std::make_unique<MainWindow>(nullptr, devices.hardware());
        window = program.get();
        window->show();
        {
            const QMutexLocker lock(&mutex);
            ++programs;
            ending = false;
            changed.wakeAll();
        }
        QApplication::exec();
        {
            const QMutexLocker lock(&mutex);
            ending = true;
            goesOn = !isLast;
            changed.wakeAll();
        }
        program.reset();
        delete logBrowser; // with the process, in the real program
        qInstallMessageHandler(note);
    }
}

void Stage::post(const std::function<void()> &what)
{
    QMetaObject::invokeMethod(this, what, Qt::QueuedConnection);
}

void Stage::perform(const Step &step, const Model &model)
{
    switch (step.kind) {
    case Step::Kind::LetGo:
        return wires.letGo(Outcome::Good, step.number);
    case Step::Kind::Fault:
        return wires.letGo(faultOf(step.number, model.faultyConnection()));
    case Step::Kind::RemoveImage:
    case Step::Kind::RestoreImage:
        return Site::setExists(site.image(step.number), step.kind == Step::Kind::RestoreImage);
    case Step::Kind::Close:
        return closeWindow(model.framesLetGo());
    default:
        return post([this, step] { performHere(step); });
    }
}

void Stage::performHere(const Step &step)
{
    const WindowProbe probe(*window);
    using enum Step::Kind;
    switch (step.kind) {
    case Press:
        return click(probe.widget<QPushButton>("updBtn"));
    case Choose: {
        const auto *const menu = probe.widget<QMenu>("menuActions");
        const QList<QAction *> entries = menu->actions();
        if (!QApplication::activeModalWidget() && menu->isEnabled() && !entries.isEmpty())
            entries.at(step.number % entries.size())->trigger();
        return;
    }
    case PlugIn:
        return plugIn(step.number);
    case PullOut:
        return pullOut(step.number);
    case Notice:
        return devices.report(site.notice(step.number));
    case Address:
        return changeAddress(*probe.widget<QSpinBox>("spinBoxAdress"), step.number);
    case OpenFiles:
        return click(probe.widget<QPushButton>("loadImg"));
    case PickFile:
        return pickFile(site.image(step.number).fileName);
    case CancelFiles:
        return pickFile(QString());
    case Type: {
        auto *const field = probe.widget<QLineEdit>("lineEdit");
        if (isReachable(field))
            field->setText(step.number == 0 ? QString() : QStringLiteral("typed"));
        return;
    }
    case HotKey:
        pressHotKey(*window);
        if (!logHandlerInstalled) // in place of standard error
            qInstallMessageHandler(note);
        return;
    case ClearTrace:
        return clearTrace();
    case CloseTrace:
        traceDialog()->close();
        return;
    case Answer:
        if (QMessageBox *const box = topBox())
            box->button(QMessageBox::Close)->click();
        return;
    default:
        return;
    }
}

void Stage::plugIn(int number)
{
    const Site::Device &device = site.device(number);
    if (device.name.isEmpty())
        wires.setAdapter(true);
    else
        devices.addSerialPort(device.name, device.description, device.vendorId);
    if (device.hasPanel && !device.name.isEmpty())
        wires.addPanel(device.name);
    for (const UsbEvent &event : site.notices(number, UsbEvent::Kind::Arrival))
        devices.report(event);
}

void Stage::pullOut(int number)
{
    const Site::Device &device = site.device(number);
    if (device.name.isEmpty())
        wires.setAdapter(false);
    devices.remove(device.name);
    wires.removePanel(device.name);
    for (const UsbEvent &event : site.notices(number, UsbEvent::Kind::Removal))
        devices.report(event);
}

void Stage::closeWindow(int framesToLetGo)
{
    const QDeadlineTimer deadline(HangMs);
    const QMutexLocker lock(&mutex);
    const int before = programs;
    post([this] {
        if (!QApplication::activeModalWidget())
            window->close();
    });
    while (!ending && programs == before && changed.wait(&mutex, deadline)) {
    }
    if (framesToLetGo > 0)
        wires.letGo(Outcome::Good, framesToLetGo - 1);
    while (!isLast && programs == before && changed.wait(&mutex, deadline)) {
    }
}

void Stage::finish()
{
    {
        const QMutexLocker lock(&mutex);
        isLast = true;
    }
    closeWindow(0);
}

View Stage::look()
{
    struct Answer
    {
        QMutex mutex;
        QWaitCondition come;
        std::optional<View> view;
    };
    const auto answer = std::make_shared<Answer>();
    post([this, answer] {
        View view = viewNow();
        const QMutexLocker lock(&answer->mutex);
        answer->view = std::move(view);
        answer->come.wakeAll();
    });
    const QDeadlineTimer deadline(HangMs);
    const QMutexLocker lock(&answer->mutex);
    while (!answer->view && answer->come.wait(&answer->mutex, deadline)) {
    }
    return answer->view.value_or(View());
}

void Stage::forget()
{
    wires.holdAll();
    wires.forget();
    const QMutexLocker lock(&logMutex);
    logged.clear();
}

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
