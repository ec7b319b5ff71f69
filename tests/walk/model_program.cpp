// SPDX-License-Identifier: MIT
// Model: the start of the program, and the connections.
#include "tests/walk/model.h"

#include <QFileInfo>

#include <utility>

namespace {

constexpr quint32 AdapterVendor = 0x04D8;

} // namespace

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
    if (isClosing)
        return;
    ++shown;
    log(text);
    modals.append({text.trimmed(), false, holdsRun});
}

void Model::log(const QString &text)
{
    (recording ? trace : logged) += text.trimmed();
}
