// SPDX-License-Identifier: MIT
// A reply over the serial port, with its portions and pauses, through whole transactions: several in a row
// over one link, with what is left over from one of them in front of the next, with bytes that come while the
// request is still being written, and with lines that are lost in between.
#include "fuzz/input.h"
#include "fuzz/replyjudge.h"
#include "fuzz/scriptedport.h"
#include "fuzz/virtualtime.h"
#include "modbus/modbus.h"

#include <QCoreApplication>
#include <QStringList>

#include <array>
#include <cstdio>
#include <vector>

namespace {

constexpr qint64 NsPerMs = 1'000'000;
constexpr std::uint8_t PanelAddress = 80;

// What the first byte of a transaction stands for.
constexpr std::uint8_t Broadcast = 1;
constexpr std::uint8_t Checked = 2;
constexpr std::uint8_t Identity = 4;
constexpr std::uint8_t ShortWrite = 8;
constexpr std::uint8_t Gap = 16;
constexpr std::uint8_t SlowWriting = 32;
constexpr std::uint8_t Traced = 64;

// What the size of a portion stands for, where it is none.
constexpr std::uint8_t Failure = 0xFF;
constexpr std::uint8_t Crc = 0xFE;
constexpr std::uint8_t RequestEcho = 0xFD;

ScriptedPort *port = nullptr;

/// Pauses around those that matter: 2 ms, the gaps, 10 s.
qint64 pauseNs(std::uint8_t code)
{
    constexpr std::array<qint64, 8> UnitNs{1000,        100'000,      NsPerMs,       NsPerMs,
                                           5 * NsPerMs, 20 * NsPerMs, 100 * NsPerMs, 400 * NsPerMs};
    return (code & 31U) * UnitNs[code >> 5U];
}

/// The record that is written, as it goes over the line.
QByteArray requestBytes(std::uint8_t address)
{
    simulator::Bytes frame{address, 0x15, 11, 6, 0, 0, 0, RecordNumber, 0, 2, 1, 2, 3, 4};
    simulator::appendModbusCrc(frame);
    return {reinterpret_cast<const char *>(frame.data()), static_cast<qsizetype>(frame.size())};
}

ScriptedPort::Portion drawPortion(Input &input, std::uint8_t size, const QByteArray &before,
                                  std::uint8_t address)
{
    constexpr std::array Errors{QSerialPort::ResourceError, QSerialPort::PermissionError,
                                QSerialPort::TimeoutError, QSerialPort::ReadError,
                                QSerialPort::UnsupportedOperationError};
    ScriptedPort::Portion portion;
    portion.pauseNs = pauseNs(input.byte());
    if (size == Failure) {
        portion.error = Errors[input.byte() % Errors.size()];
    } else if (size == Crc) {
        simulator::Bytes frame(before.begin(), before.end());
        simulator::appendModbusCrc(frame);
        portion.bytes.append(static_cast<char>(frame[frame.size() - 2]))
            .append(static_cast<char>(frame.back()));
    } else if (size == RequestEcho) {
        portion.bytes = requestBytes(address);
    } else {
        const auto bytes = input.take(size);
        portion.bytes =
            QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    }
    return portion;
}

/// Portions up to one without any bytes.
void drawScript(Input &input, std::uint8_t address)
{
    QByteArray sofar;
    while (!input.isEmpty()) {
        const std::uint8_t size = input.byte();
        if (size == 0)
            return;
        port->script += drawPortion(input, size, sofar, address);
        sofar += port->script.constLast().bytes;
    }
}

/// A reply over its echo's length would have been read on.
void requireEndAtEcho(const QByteArray &given)
{
    for (qsizetype size = 4; size < given.size(); ++size) {
        const int byteCount = static_cast<std::int8_t>(given[2]);
        REQUIRE(given[1] != 0x15 || byteCount < 0 || byteCount + 5 != size);
    }
}

void requireTimes(qint64 takenNs, int gapMs)
{
    const qint64 replyMs = Modbus::LongestReplyMs + Modbus::GapsPerReply * qint64{gapMs};
    REQUIRE(takenNs >= 50 * NsPerMs);
    // The pause, the writing, the wait, the two pauses behind the first byte, the reply, a broadcast's delay.
    REQUIRE(takenNs <= (50 + 500 + 10000 + 2 + 2 + replyMs + 1 + 100) * NsPerMs);
}

void runTransaction(Input &input, Modbus &modbus, QStringList &errors)
{
    const std::uint8_t flags = input.byte();
    const std::uint8_t address = (flags & Broadcast) != 0 ? 0 : PanelAddress;
    const bool isIdentity = (flags & Identity) != 0;
    const bool isChecked = (flags & Checked) != 0;
    const int gapMs = (flags & Gap) != 0 ? 1 + input.byte() * 4 % 1000 : 0;
    modbus.setReplyGap(gapMs);
    modbus.setReplyChecked(isChecked);
    modbus.setTraceFlag((flags & Traced) != 0 ? 1 : 0);
    port->writingNs = (flags & SlowWriting) != 0 ? pauseNs(input.byte()) : 0;
    port->accepted = (flags & ShortWrite) != 0 ? std::optional<qint64>(input.byte() % 17 - 1) : std::nullopt;
    port->given.clear();
    port->begin();
    drawScript(input, address);
    errors.clear();

    const qint64 startNs = VirtualTime::nowNs();
    const std::array<std::uint8_t, 4> record{1, 2, 3, 4};
    const std::int32_t result =
        isIdentity ? modbus.readDeviceId(nullptr, address, 1, 0)
                   : modbus.writeFileRecord(nullptr, address, 0, RecordNumber, 4, record.data());
    if (port->accepted && *port->accepted < port->request.size()) {
        REQUIRE(result == 1 && errors.isEmpty() && port->given.isEmpty());
        return;
    }
    requireTimes(VirtualTime::nowNs() - startNs, gapMs);
    requireEndAtEcho(port->given);
    const std::vector<std::uint8_t> given(port->given.begin(), port->given.end());
    const Judgement expected =
        address == 0 ? Judgement{} : judge(given, isChecked && !isIdentity ? port->request : QByteArray());
    REQUIRE(address != 0 || given.empty());
    REQUIRE(isIdentity || port->request == requestBytes(address));
    REQUIRE(result == expected.result);
    REQUIRE(errors == expected.errors);
}

void prepareProcess()
{
    static int count = 1;
    static std::array<char, 5> name{"fuzz"};
    static std::array<char *, 2> arguments{name.data(), nullptr};
    QCoreApplication::setEventDispatcher(
        new VirtualTime({[] { return port->nextNs(); }, [] { port->takeNext(); }}));
    static QCoreApplication application(count, arguments.data());
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (!QCoreApplication::instance())
        prepareProcess();
    Input input(data, size);
    ScriptedPort scripted;
    port = &scripted;
    QStringList errors;
    Modbus modbus;
    QObject::connect(port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
    QObject::connect(port, SIGNAL(bytesWritten(qint64)), &modbus, SLOT(bytesWritten(qint64)));
    QObject::connect(&modbus, &Modbus::errorString, &modbus, [&](const QString &text) { errors += text; });
    modbus.setSerialPort(port);
    modbus.setBroadcastDelay(100);
    while (!input.isEmpty())
        runTransaction(input, modbus, errors);
    modbus.setSerialPort(nullptr);
    return 0;
}
