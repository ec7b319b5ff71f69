// SPDX-License-Identifier: MIT
#include "fuzz/serialtransaction.h"

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
constexpr std::uint8_t ShortPause = 128;

// What the size of a portion stands for, where it is none.
constexpr std::uint8_t Failure = 0xFF;
constexpr std::uint8_t Crc = 0xFE;
constexpr std::uint8_t RequestEcho = 0xFD;
constexpr std::uint8_t RequestPart = 0xFC;

ScriptedPort *port = nullptr;

std::uint8_t addressOf(std::uint8_t flags)
{
    return (flags & Broadcast) != 0 ? 0 : PanelAddress;
}

/// Pauses around those that matter: 2 ms, the gaps, 10 s.
qint64 pauseNs(std::uint8_t code)
{
    constexpr std::array<qint64, 8> UnitNs{1000,        100'000,      NsPerMs,       NsPerMs,
                                           5 * NsPerMs, 20 * NsPerMs, 100 * NsPerMs, 400 * NsPerMs};
    return (code & 31U) * UnitNs[code >> 5U];
}

/// What is sent, as it goes over the line.
QByteArray requestBytes(std::uint8_t flags)
{
    const std::uint8_t address = addressOf(flags);
    simulator::Bytes frame{address, 0x15, 11, 6, 0, 0, 0, RecordNumber, 0, 2, 1, 2, 3, 4};
    if ((flags & Identity) != 0)
        frame = {address, 0x2B, 0x0E, 1, 0};
    simulator::appendModbusCrc(frame);
    return {reinterpret_cast<const char *>(frame.data()), static_cast<qsizetype>(frame.size())};
}

QByteArray crcOf(const QByteArray &bytes)
{
    simulator::Bytes frame(bytes.begin(), bytes.end());
    simulator::appendModbusCrc(frame);
    return {reinterpret_cast<const char *>(frame.data()) + bytes.size(), 2};
}

ScriptedPort::Portion drawPortion(Input &input, std::uint8_t size, const QByteArray &before,
                                  const QByteArray &request)
{
    constexpr std::array Errors{QSerialPort::ResourceError, QSerialPort::PermissionError,
                                QSerialPort::TimeoutError, QSerialPort::ReadError,
                                QSerialPort::UnsupportedOperationError};
    ScriptedPort::Portion portion;
    portion.pauseNs = pauseNs(input.byte());
    if (size == Failure) {
        portion.error = Errors[input.byte() % Errors.size()];
    } else if (size == Crc) {
        portion.bytes = crcOf(before);
    } else if (size == RequestEcho) {
        portion.bytes = request;
    } else if (size == RequestPart) {
        const std::uint8_t part = input.byte();
        portion.bytes = request.mid(part >> 4U, part & 15U);
    } else {
        const auto bytes = input.take(size);
        portion.bytes =
            QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    }
    return portion;
}

/// Portions up to one without any bytes. With an echo in front, the CRC is that of what follows it.
void drawScript(Input &input, const QByteArray &request, bool isEchoed)
{
    const qsizetype echoSize = isEchoed ? request.size() : 0;
    QByteArray sofar;
    while (!input.isEmpty()) {
        const std::uint8_t size = input.byte();
        if (size == 0)
            return;
        port->reply += drawPortion(input, size, sofar.mid(echoSize), request);
        sofar += port->reply.constLast().bytes;
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

/// How this transaction goes about it.
struct Way
{
    std::uint8_t flags;
    int gapMs;
    int pauseMs;
    bool isEchoed;

    bool has(std::uint8_t flag) const { return (flags & flag) != 0; }
};

void requireTimes(qint64 takenNs, const Way &way)
{
    const qint64 replyMs = Modbus::LongestReplyMs + Modbus::GapsPerReply * qint64{way.gapMs};
    const qint64 echoMs =
        way.isEchoed ? Modbus::LineEchoSlackMs + 20 : 0; // a request of 16 bytes takes 18.3 ms
    REQUIRE(takenNs >= way.pauseMs * NsPerMs);
    // Nobody waits any longer once the reply is there.
    REQUIRE(!port->replyNs ||
            VirtualTime::now() - *port->replyNs <= (500 + 2 + 2 + replyMs + 1 + 100) * NsPerMs);
    // The pause, the writing, the wait, the two pauses behind the first byte, the reply, a broadcast's delay.
    REQUIRE(takenNs <= (way.pauseMs + 500 + echoMs + 10000 + 2 + 2 + replyMs + 1 + 100) * NsPerMs);
}

Judgement expected(const Way &way)
{
    const bool isWhole = port->echo.size() == port->request.size();
    if (way.isEchoed && port->echo != port->request) {
        const QString text = isWhole ? QStringLiteral("The converter returned record 7 changed")
                                     : QStringLiteral("The converter did not return all of record 7");
        return {65537, way.has(Identity) ? QStringList() : QStringList{text}};
    }
    if (way.has(Broadcast))
        return {};
    const std::vector<std::uint8_t> given(port->given.begin(), port->given.end());
    return judge(given, way.has(Checked) && !way.has(Identity) ? port->request : QByteArray());
}

std::int32_t transact(Modbus &modbus, const Way &way)
{
    const std::array<std::uint8_t, 4> record{1, 2, 3, 4};
    const std::uint8_t address = addressOf(way.flags);
    return way.has(Identity) ? modbus.readDeviceId(nullptr, address, 1, 0)
                             : modbus.writeFileRecord(nullptr, address, 0, RecordNumber, 4, record.data());
}

void prepareLink(Modbus &modbus, const Way &way)
{
    modbus.setReplyGap(way.gapMs);
    modbus.setRequestPause(way.pauseMs);
    modbus.setReplyChecked(way.has(Checked));
    modbus.setTraceFlag(way.has(Traced) ? 1 : 0);
    modbus.setLineEcho(way.isEchoed);
}

void preparePort(Input &input, const Way &way)
{
    port->writingNs = way.has(SlowWriting) ? pauseNs(input.byte()) : 0;
    port->accepted = way.has(ShortWrite) ? std::optional<qint64>(input.byte() % 17 - 1) : std::nullopt;
    port->readsEcho = way.isEchoed;
    port->begin();
    port->reply.clear();
    drawScript(input, requestBytes(way.flags), way.isEchoed);
}

void runTransaction(Input &input, Modbus &modbus, QStringList &errors, bool isEchoed)
{
    Way way{input.byte(), 0, Modbus::DefaultRequestPauseMs, isEchoed};
    if (way.has(Gap))
        way.gapMs = 1 + input.byte() * 4 % 1000;
    if (way.has(ShortPause))
        way.pauseMs = 4;
    prepareLink(modbus, way);
    preparePort(input, way);
    errors.clear();
    const qint64 startNs = VirtualTime::now();
    const std::int32_t result = transact(modbus, way);
    if (port->accepted && *port->accepted < port->request.size()) {
        REQUIRE(result == 1 && errors.isEmpty() && port->given.isEmpty() && port->echo.isEmpty());
        return;
    }
    REQUIRE(port->request == requestBytes(way.flags));
    REQUIRE(!way.has(Broadcast) || port->given.isEmpty());
    requireTimes(VirtualTime::now() - startNs, way);
    requireEndAtEcho(port->given);
    const Judgement judgement = expected(way);
    REQUIRE(result == judgement.result);
    REQUIRE(errors == judgement.errors);
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

void runSerialTransactions(Input input, bool isEchoed)
{
    if (!QCoreApplication::instance())
        prepareProcess();
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
        runTransaction(input, modbus, errors, isEchoed);
    modbus.setSerialPort(nullptr);
}
