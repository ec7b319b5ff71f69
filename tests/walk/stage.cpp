// SPDX-License-Identifier: MIT
#include "tests/walk/stage.h"

#include "app/mainwindow.h"
#include "tests/support/windowprobe.h"
#include "tests/walk/windows.h"
#include "trace/logbrowser.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMutexLocker>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

#include <memory>

namespace {

/// Only a program that hangs takes so long for anything.
constexpr int HangMs = 60000;

/// A user reaches nothing behind a box or a file window.
bool isReachable(const QWidget *widget)
{
    const QWidget *const modal = QApplication::activeModalWidget();
    return widget->isEnabled() && (!modal || modal == widget->window());
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
    QTest::keyClick(QApplication::activeWindow(), Qt::Key_BracketRight,
                    Qt::ControlModifier | Qt::ShiftModifier);
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
        return wires.letGo(Model::faultOf(step.number, model.faultyConnection()));
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
