// SPDX-License-Identifier: MIT
#include "tests/walk/model.h"

#include <QFileInfo>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr int InfraRed = 1;
constexpr int AdapterModbus = 2;
constexpr int SerialPort = 3;
constexpr quint32 AdapterVendor = 0x04D8;
constexpr int Codes = 7; ///< what the adapter's library answers when it fails

const QString StartText = QStringLiteral("Start Update");

QString onOff(bool isOn)
{
    return isOn ? QStringLiteral(", enabled") : QStringLiteral(", disabled");
}

QString systemText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

QString hexOf(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

/// Bit by bit, as the two protocols write their checks down.
quint8 crc8(const QByteArray &bytes)
{
    unsigned crc = 0;
    for (const char byte : bytes) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80U) != 0 ? (crc << 1U ^ 0x9BU) & 0xFFU : crc << 1U & 0xFFU;
    }
    return static_cast<quint8>(crc);
}

QByteArray withCrc16(const QByteArray &bytes)
{
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xA001U : crc >> 1U;
    }
    return bytes + static_cast<char>(crc & 0xFFU) + static_cast<char>(crc >> 8U);
}

} // namespace

Outcome faultOf(int number, int connectionType)
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

// The user, who reaches nothing behind a box.

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
    for (; held; ++closingFrames)
        letGo(Outcome::Good);
    start();
    return true;
}

// The program: its start, and the connections.

void Model::start()
{
    ++started;
    buttonText = StartText;
    loadEnabled = true;
    barValue = 0;
    barMaximum = 100;
    barHasTime = false;
    hasWaitCursor = false;
    traceShown = false;
    recording = false;
    trace.clear();
    addressEnabled = true;

    connectionType = settings.value(QStringLiteral("connection_type")).toInt();
    portName = settings.value(QStringLiteral("port"));
    deviceName = settings.value(QStringLiteral("deviceName"));
    if (!settings.contains(QStringLiteral("address")))
        settings[QStringLiteral("address")] = QString::number(0x50);
    deviceAddress = settings.value(QStringLiteral("address")).toInt();
    shownAddress = QString::number(deviceAddress, 16).toInt();
    imageFile = settings.value(QStringLiteral("filename"));
    imageFolder = imageFile.isEmpty() ? QString() : QFileInfo(imageFile).path();
    field = imageFile;
    buttonEnabled = !field.isEmpty();
    discover();
}

void Model::report(const UsbEvent &event)
{
    const bool isArrival = event.kind == UsbEvent::Kind::Arrival;
    int runs = 0;
    bool isInMenu = false;
    for (const Entry &entry : std::as_const(menu)) {
        isInMenu = isInMenu || (entry.type == SerialPort && entry.text == event.portName);
        if (!isArrival && entry.vendorId == event.vendorId)
            ++runs;
    }
    if (isArrival && event.vendorId == AdapterVendor) {
        runs = 1;
    } else if (isArrival) {
        for (const Site::Device *const device : std::as_const(present))
            runs += !device->name.isEmpty() && device->vendorId == event.vendorId ? 1 : 0;
    }
    if (event.kind == UsbEvent::Kind::Lost)
        runs = 1;
    else if (!event.portName.isEmpty() && isInMenu == isArrival)
        runs = 0;
    for (; runs > 0; --runs) {
        discover();
        buttonEnabled = !field.isEmpty();
    }
}

void Model::discover()
{
    wires += QStringLiteral("find");
    menu.clear();
    checked = -1;
    if (isPresent(site.device(0)))
        menu = {{QStringLiteral("InfraRed SUB-20"), InfraRed, AdapterVendor},
                {QStringLiteral("Modbus SUB-20"), AdapterModbus, AdapterVendor}};
    bool isLooked = true; // the port behind one that is left out is not looked at
    for (const Site::Device *const device : std::as_const(present)) {
        if (device->name.isEmpty())
            continue;
        const bool isUsable = !device->description.isEmpty() &&
                              !device->description.contains(QStringLiteral("Bluetooth"), Qt::CaseInsensitive);
        if (isUsable || !isLooked)
            menu.append({device->name, SerialPort, device->vendorId});
        isLooked = isUsable || !isLooked;
    }
    if (menu.isEmpty()) {
        portName.clear();
        label = QStringLiteral("No Available Connections red");
        return;
    }
    int chosen = 0;
    while (chosen < menu.size() && !menu.at(chosen).text.contains(deviceName))
        ++chosen;
    if (chosen == menu.size()) {
        chosen = 0;
        portName.clear();
    }
    if (menu.at(chosen).type == SerialPort)
        portName = menu.at(chosen).text;
    activate(chosen);
}

void Model::activate(int entry)
{
    const auto &[text, kind, vendorId] = menu.at(entry);
    checked = entry;
    connectionType = kind;
    addressEnabled = kind != InfraRed;
    settings[QStringLiteral("connection_type")] = QString::number(kind);
    settings[QStringLiteral("port")] = text;
    settings[QStringLiteral("deviceName")] = text;
    label = QStringLiteral("Connection via ") + text + QStringLiteral(" green");
}

void Model::showBox(const QString &text, bool holdsRun)
{
    ++shown;
    log(text);
    modals.append({text.trimmed(), false, holdsRun});
}

void Model::log(const QString &text)
{
    (recording ? trace : logged) += text.trimmed();
}

// The program: one run, from the open to the end.

void Model::begin(const Job &job)
{
    ++begun;
    run.emplace().job = job;
    if (job.type == InfraRed) {
        log(QStringLiteral("boot run"));
        hasWaitCursor = true;
        if (!openAdapter())
            return showBox(QStringLiteral("SUB-20 not connected!"), true);
        if (!openImage())
            return;
        return hold(QStringLiteral("ir_config h%1 38000 10 1 10").arg(run->handle));
    }
    if (!openImage())
        return;
    if (job.type == AdapterModbus) {
        if (!openAdapter())
            return fail(QStringLiteral("Can't open SUB-20"), -1);
        return startSending();
    }
    bool opens = false;
    for (const Site::Device *const device : std::as_const(present))
        opens = opens || (device->hasPanel && device->name == job.port && !job.port.isEmpty());
    if (opens)
        return startSending();
    const QString text = systemText(job.port.isEmpty() ? EISDIR : ENOENT); // a port without a name is "/dev/"
    log(text);
    fail(text, -1);
}

bool Model::openAdapter()
{
    wires += QStringLiteral("open");
    if (!isPresent(site.device(0)))
        return false;
    handles = handles % 7 + 1;
    run->handle = handles;
    return true;
}

bool Model::openImage()
{
    for (const Site::Image &image : site.images()) {
        if (image.fileName == run->job.image && !missingImages.contains(image.fileName)) {
            run->image = image.bytes;
            return true;
        }
    }
    fail(QStringLiteral("Can't open image file %1 %2").arg(run->job.image, systemText(ENOENT)), -1);
    return false;
}

void Model::startSending()
{
    run->isConfigured = true;
    barMaximum = pieces();
    sendNext();
}

void Model::sendNext()
{
    const QByteArray piece = run->image.mid(run->read, pieceSize());
    if (piece.isEmpty()) {
        showProgress(pieces());
        return end(0);
    }
    run->read += piece.size();
    if (run->isStopped)
        return end(-1);
    if (run->job.type == InfraRed) {
        run->block.replace(0, piece.size(), piece);
    } else {
        run->block = piece + QByteArray(piece.size() % 2, '\0');
        if (run->job.type == AdapterModbus)
            wires += QStringLiteral("rs_timing h%1 2 0 %2 10000")
                         .arg(run->handle)
                         .arg(run->job.address == 0 ? 10000 : 1000000);
        else
            log(QStringLiteral("%1 bytes written...").arg(run->block.size() + 12));
    }
    hold(frame());
}

void Model::hold(const QString &wire)
{
    ++heldSoFar;
    wires += wire;
    held = true;
}

/// What goes over the wire, as it is written in the list of the wires.
QString Model::frame() const
{
    const Job &job = run->job;
    if (job.type == InfraRed) {
        const int number = run->sent == 0 ? 0 : (run->sent - 1) % 255 + 1;
        const QByteArray covered = static_cast<char>(number) + run->block;
        const QByteArray bytes =
            "\x55\x55\xC3\xEA" + covered + static_cast<char>(crc8(covered)) + QByteArray(8, '\xFF');
        return QStringLiteral("ir_tx h%1 %2").arg(run->handle).arg(hexOf(bytes));
    }
    const auto registers = static_cast<int>(run->block.size() / 2);
    const auto size = static_cast<char>(run->block.size() + 7);
    QByteArray bytes;
    for (const int byte : {job.address, 0x15, int{size}, 6, 0, 0, run->sent >> 8, run->sent, 0, registers})
        bytes += static_cast<char>(byte);
    const QString request = hexOf(withCrc16(bytes + run->block));
    return job.type == SerialPort ? job.port + u' ' + request
                                  : QStringLiteral("rs h%1 %2 62").arg(run->handle).arg(request);
}

void Model::letGo(Outcome outcome)
{
    held = false;
    if (run->job.type != SerialPort && !isPresent(site.device(0)))
        outcome = Outcome::LibraryError;
    if (run->job.type == InfraRed)
        letFrameGo(outcome);
    else
        letRecordGo(outcome);
}

void Model::letFrameGo(Outcome outcome)
{
    if (outcome != Outcome::Good)
        return fail(QStringLiteral("SUB-20 %1: error -7")
                        .arg(run->isConfigured ? QStringLiteral("sub_ir_tx") : QStringLiteral("sub_ir_config")),
                    -Codes);
    if (!run->isConfigured)
        return startSending();
    run->copies = (run->copies + 1) % 3;
    if (run->copies == 0)
        return pieceIsOut();
    hold(frame());
}

void Model::letRecordGo(Outcome outcome)
{
    const bool isBroadcast = run->job.address == 0;
    if (outcome == Outcome::LibraryError)
        return fail(QStringLiteral("sub_rs_xfer: error 7"), Codes);
    if (outcome == Outcome::Good || isBroadcast)
        return pieceIsOut();
    if (outcome == Outcome::BadCheck)
        return fail(QStringLiteral("CRC error"), 104);
    if (outcome == Outcome::Exception)
        return fail(QStringLiteral("Modbus Exception: Slave Device Failure"), 40);
    if (outcome == Outcome::Short)
        return fail(QStringLiteral("Frame incomplete (sz=2)\n"), 32);
    fail(QStringLiteral("Modbus Timeout"), 138);
}

void Model::pieceIsOut()
{
    ++run->sent;
    if (run->sent % 3 == 0)
        showProgress(run->sent);
    sendNext();
}

void Model::showProgress(int value)
{
    if (value <= barMaximum || barMaximum == 0) // a bar takes no value above its maximum
        barValue = value;
    barHasTime = true;
}

void Model::fail(const QString &text, int result)
{
    showBox(text);
    end(result);
}

void Model::end(int result)
{
    if (!waiting) {
        buttonText = StartText;
        loadEnabled = true;
    }
    // Full is the bar of an update that is complete: never that of a stopped one, nor of one that has not begun.
    if (waiting || (run->isStopped && result != 0) || barValue != barMaximum)
        barValue = 0;
    barHasTime = false;
    if (result < 0)
        log(QStringLiteral("thread canceled with error"));
    if (run->handle >= 0)
        wires += QStringLiteral("close h%1").arg(run->handle);
    hasWaitCursor = false;
    run.reset();
    if (waiting)
        begin(*std::exchange(waiting, std::nullopt));
}
