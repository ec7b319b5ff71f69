// SPDX-License-Identifier: MIT
// Model: the user, who reaches nothing behind a box, and what is seen.
#include "tests/walk/model.h"

#include <array>

namespace {

QString onOff(bool isOn)
{
    return isOn ? QStringLiteral(", enabled") : QStringLiteral(", disabled");
}

} // namespace

Outcome Model::faultOf(int number, int connectionType)
{
    using enum Outcome;
    if (connectionType == InfraRed)
        return LibraryError;
    const std::array faults{BadCheck, Exception, Short, Silence, LibraryError};
    // A silent serial line would hold the walk up for ten seconds.
    return faults.at(static_cast<std::size_t>(number) % (connectionType == SerialPort ? 3 : faults.size()));
}

bool Model::apply(const Step &step)
{
    logged.clear();
    wires.clear();
    closingFrames = 0;
    using enum Step::Kind;
    switch (step.kind) {
    case Press:
        return press();
    case Choose:
        return choose(step.number);
    case PlugIn:
        return plugIn(step.number);
    case PullOut:
        return pullOut(step.number);
    case Notice:
        report(site.notice(step.number));
        return true;
    case Address:
        return changeAddress(step.number);
    case OpenFiles:
        return openFiles();
    case PickFile:
        return !missingImages.contains(site.image(step.number).fileName) &&
               closeFiles(site.image(step.number).fileName);
    case CancelFiles:
        return closeFiles(QString());
    case Type:
        return type(step.number);
    case HotKey:
        return pressHotKey();
    case ClearTrace:
        if (!traceShown || hasBox())
            return false;
        trace.clear();
        return true;
    case CloseTrace:
        return traceShown && !hasBox() && !(traceShown = false);
    case Answer:
        return answer();
    case LetGo: {
        if (!held)
            return false;
        for (int left = step.number + 1; left > 0 && held; --left)
            letGo(Outcome::Good);
        return true;
    }
    case Fault:
        if (!held)
            return false;
        faulty = run->job.type;
        letGo(faultOf(step.number, faulty));
        return true;
    case RemoveImage:
        return changeImage(step.number, false);
    case RestoreImage:
        return changeImage(step.number, true);
    case Close:
        return close();
    }
    return false;
}

View Model::view() const
{
    QStringList entries;
    for (int i = 0; i < menu.size(); ++i)
        entries += (i == checked ? u'*' : u' ') + menu.at(i).text;
    QStringList keys;
    for (auto key = settings.begin(); key != settings.end(); ++key)
        keys += key.key() + u'=' + key.value();
    View view;
    view[QStringLiteral("button")] = buttonText + onOff(buttonEnabled);
    view[QStringLiteral("load image")] = onOff(loadEnabled);
    view[QStringLiteral("field")] = field;
    view[QStringLiteral("bar")] = QStringLiteral("%1 of %2").arg(barValue).arg(barMaximum);
    view[QStringLiteral("bar's text")] = barHasTime ? QStringLiteral("Elapsed time") : QString();
    view[QStringLiteral("label")] = label;
    view[QStringLiteral("address")] = QStringLiteral("0x%1").arg(shownAddress) + onOff(addressEnabled);
    view[QStringLiteral("menu")] = entries.join(u';') + onOff(!menu.isEmpty());
    view[QStringLiteral("boxes")] =
        QString::number(modals.size()) + (hasBox() ? QStringLiteral(": ") + modals.last().text : QString());
    view[QStringLiteral("cursor")] = hasWaitCursor ? QStringLiteral("wait") : QString();
    view[QStringLiteral("trace")] = (traceShown ? QStringLiteral("shown") : QStringLiteral("hidden")) +
                                    (recording ? QStringLiteral(", recording") : QString());
    view[QStringLiteral("trace's text")] = trace.join(u'\n');
    view[QStringLiteral("log")] = logged.join(u'\n');
    view[QStringLiteral("settings")] = keys.join(u'\n');
    view[QStringLiteral("wires")] = wires.join(u'\n');
    view[QStringLiteral("held")] = held ? QStringLiteral("yes") : QString();
    view[QStringLiteral("session")] = run ? QStringLiteral("open") : QString();
    return view;
}

bool Model::press()
{
    if (hasBox() || !buttonEnabled)
        return false;
    const bool isStart = buttonText == StartText;
    // To address 0 no panel answers, so over a serial port nothing could hold such a run.
    if (isStart && !field.isEmpty() && connectionType == SerialPort && deviceAddress == 0)
        return false;
    if (field.isEmpty()) {
        buttonEnabled = false;
        showBox(QStringLiteral("Image file not selected!"));
        return true;
    }
    barValue = 0;
    buttonText = isStart ? QStringLiteral("Stop") : StartText;
    loadEnabled = !isStart;
    if (!isStart) {
        waiting.reset();
        if (run)
            run->isStopped = true;
        return true;
    }
    if (connectionType == 0)
        return true;
    const Job job{connectionType, imageFile, portName, deviceAddress};
    if (run)
        waiting = job;
    else
        begin(job);
    return true;
}

bool Model::choose(int number)
{
    if (hasBox() || menu.isEmpty())
        return false;
    activate(number % static_cast<int>(menu.size()));
    return true;
}

bool Model::isPresent(const Site::Device &device) const
{
    return present.contains(&device);
}

bool Model::plugIn(int number)
{
    const Site::Device &device = site.device(number);
    if (isPresent(device))
        return false;
    present += &device;
    for (const UsbEvent &event : site.notices(number, UsbEvent::Kind::Arrival))
        report(event);
    return true;
}

bool Model::pullOut(int number)
{
    const Site::Device &device = site.device(number);
    if (present.removeAll(&device) == 0)
        return false;
    for (const UsbEvent &event : site.notices(number, UsbEvent::Kind::Removal))
        report(event);
    if (held && run->job.type == SerialPort && run->job.port == device.name) { // as a time-out, at once
        held = false;
        log(QStringLiteral("modbus_RTU_COM: rx timeout"));
        end(138);
    }
    return true;
}

bool Model::changeAddress(int number)
{
    if (hasBox() || !addressEnabled)
        return false;
    const int typed = number < 2 ? shownAddress + (number == 0 ? 1 : -1) : number;
    if (typed < 0 || typed > 99 || typed == shownAddress)
        return false;
    shownAddress = typed;
    deviceAddress = QString::number(typed).toInt(nullptr, 16);
    settings[QStringLiteral("address")] = QString::number(deviceAddress);
    return true;
}

bool Model::openFiles()
{
    if (hasBox() || !loadEnabled)
        return false;
    modals.append({QStringLiteral("files in ") + imageFolder, true});
    return true;
}

bool Model::closeFiles(const QString &chosen)
{
    if (!hasFileWindow())
        return false;
    modals.removeLast();
    imageFile = chosen;
    if (!chosen.isEmpty()) {
        settings[QStringLiteral("filename")] = chosen;
        log(chosen);
        field = chosen;
    }
    buttonEnabled = true;
    return true;
}

bool Model::type(int number)
{
    const QString text = number == 0 ? QString() : QStringLiteral("typed");
    if (hasBox() || text == field)
        return false;
    field = text;
    if (field.isEmpty())
        buttonEnabled = false;
    return true;
}

bool Model::pressHotKey()
{
    if (hasBox())
        return false;
    recording = !recording;
    traceShown = !traceShown;
    return true;
}

bool Model::answer()
{
    if (!hasBox() || hasFileWindow())
        return false;
    const Modal closed = modals.takeLast();
    if (closed.holdsRun)
        end(-1);
    return true;
}

bool Model::changeImage(int number, bool exists)
{
    const QString name = site.image(number).fileName;
    if (missingImages.contains(name) != exists)
        return false;
    if (exists)
        missingImages.removeAll(name);
    else
        missingImages += name;
    return true;
}

bool Model::close()
{
    if (hasBox())
        return false;
    waiting.reset();
    if (run)
        run->isStopped = true;
    isClosing = true;
    for (; held; ++closingFrames)
        letGo(Outcome::Good);
    isClosing = false;
    start();
    return true;
}
