// SPDX-License-Identifier: MIT
// A message of Windows about a device, with its path: any code, any type of device, any text. What has a
// record of its own has it in memory of just its size.
#include "connections/usbmonitor.h"
#include "fuzz/input.h"
#include "fuzz/vendordigits.h"

#include <QList>
#include <QStringList>

#include <windows.h>

#include <dbt.h>

#include <cstring>
#include <memory>
#include <vector>

namespace {

QStringList logged;

void keepMessage(QtMsgType, const QMessageLogContext &, const QString &text)
{
    logged += text;
}

/// What stands between the two marks; what follows the first when there is no second.
std::string between(const std::string &text, char first, char second)
{
    const std::size_t begin = text.find(first);
    if (begin == std::string::npos)
        return {};
    const std::size_t end = text.find(second, begin + 1);
    return text.substr(begin + 1, end == std::string::npos ? end : end - begin - 1);
}

/// The digits of "....USB#VID_04D8&PID_FFC3#...".
std::string vendorDigits(const QString &path)
{
    const std::string text = path.mid(4).toLatin1().toStdString();
    const std::string part = between(text, '#', '#');
    return between(part.substr(0, part.find('&')), '_', '_');
}

void requireSense(const QList<UsbEvent> &events, std::uint64_t code, const QString &path)
{
    REQUIRE(events.size() == 1);
    REQUIRE(events[0].portName.isEmpty());
    const bool isArrival = events[0].kind == UsbEvent::Kind::Arrival;
    REQUIRE(isArrival ? code == 0x8000 : events[0].kind == UsbEvent::Kind::Removal && code == 0x8004);
    REQUIRE(logged.join(u'#') == path.mid(4));
    const std::optional<std::uint32_t> vendor = undoubtedVendor(vendorDigits(path));
    REQUIRE(!vendor || events[0].vendorId == *vendor);

    const QList<quint32> ports{1027, events[0].vendorId, events[0].vendorId};
    const QList<UsbConnection> menu{{1240}, {events[0].vendorId}};
    const qsizetype runs = discoveryRuns(events[0], ports, menu);
    REQUIRE(runs >= 1 && runs <= 3);
    REQUIRE(isArrival || runs <= 2);
}

/// The record as it lies behind the message's address.
std::vector<std::uint8_t> record(std::uint32_t type, const std::vector<wchar_t> &name)
{
    DEV_BROADCAST_DEVICEINTERFACE_W head{};
    const std::size_t nameAt = offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name);
    const std::size_t nameSize = name.size() * sizeof(wchar_t);
    head.dbcc_size = static_cast<std::uint32_t>(nameAt + nameSize);
    head.dbcc_devicetype = type;
    std::vector<std::uint8_t> bytes(std::max(nameAt + nameSize, sizeof head));
    std::memcpy(bytes.data(), &head, nameAt);
    std::memcpy(bytes.data() + nameAt, name.data(), nameSize);
    return bytes;
}

/// The codes that mean something, those beside them, and any other.
std::uint16_t drawCode(Input &input)
{
    const std::uint8_t kind = input.byte();
    return kind < 16 ? static_cast<std::uint16_t>(0x8000 + kind) : input.word();
}

/// Mostly one character a byte, so that letters are found; with `isWide`, any.
std::vector<wchar_t> drawName(Input &input, bool isWide)
{
    std::vector<wchar_t> name;
    while (!input.isEmpty()) {
        const std::uint16_t unit = isWide ? input.word() : input.byte();
        if (unit != 0)
            name.push_back(static_cast<wchar_t>(unit));
    }
    name.push_back(0);
    return name;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const std::uint16_t code = drawCode(input);
    const std::uint8_t kind = input.byte();
    const std::uint32_t type = kind < 8 ? kind : DBT_DEVTYP_DEVICEINTERFACE;
    const std::vector<wchar_t> name = drawName(input, (kind & 16U) != 0);
    const std::vector<std::uint8_t> bytes = record(type, name);

    const std::unique_ptr<UsbMonitor> monitor(makeUsbMonitor(nullptr));
    QList<UsbEvent> events;
    QObject::connect(monitor.get(), &UsbMonitor::reported, monitor.get(),
                     [&](const UsbEvent &event) { events += event; });
    MSG message{};
    message.message = (kind & 32U) != 0 ? WM_DEVICECHANGE + 1 : WM_DEVICECHANGE;
    message.wParam = code;
    const auto *address = (kind & 64U) != 0 ? nullptr : bytes.data();
    std::memcpy(&message.lParam, &address, sizeof address);
    logged.clear();
    const QtMessageHandler previous = qInstallMessageHandler(keepMessage);
    monitor->handleNativeEvent(&message);
    qInstallMessageHandler(previous);

    const bool isMeant = message.message == WM_DEVICECHANGE && (code == 0x8000 || code == 0x8004) &&
                         address && type == DBT_DEVTYP_DEVICEINTERFACE;
    if (isMeant)
        requireSense(events, code, QString::fromWCharArray(name.data()));
    else
        REQUIRE(events.isEmpty() && logged.isEmpty());
    return 0;
}
