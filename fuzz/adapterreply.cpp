// SPDX-License-Identifier: MIT
// What the adapter's library answers to a request over RS-485, through whole transactions: any number, any
// error and any bytes. Whatever it is, the transaction ends, with the result that belongs to it.
#include "fuzz/input.h"
#include "fuzz/replyjudge.h"
#include "modbus/modbus.h"
#include "sub20/sub20.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr int ReceiveSize = 62; // the adapter's

/// What the library does next.
struct Answer
{
    int count = 0;
    int error = 0;
    bool hasText = false;
    std::string text;
    bool isEcho = false;
    std::vector<std::uint8_t> bytes;
};

Answer answer;
QByteArray request;
int lastError = 0;
char anAdapter = 0;

int transfer(sub_handle handle, char *tx, int txSize, char *rx, int rxSize)
{
    REQUIRE(handle == &anAdapter);
    REQUIRE(rxSize == ReceiveSize);
    request = QByteArray(tx, txSize);
    if (answer.isEcho)
        answer.bytes.assign(tx, tx + txSize);
    // The library may write as much as it was given room for, whatever it answers.
    const auto size = std::min(answer.bytes.size(), static_cast<std::size_t>(rxSize));
    std::memset(rx, 0, static_cast<std::size_t>(rxSize));
    std::copy_n(answer.bytes.begin(), size, rx);
    lastError = answer.error;
    return answer.count;
}

Sub20Functions functions()
{
    Sub20Functions table;
    table.findDevices = [](sub_device) -> sub_device { return nullptr; };
    table.open = [](sub_device) -> sub_handle { return &anAdapter; };
    table.close = [](sub_handle) { return 0; };
    table.errorText = [](int) { return answer.hasText ? answer.text.data() : nullptr; };
    table.irConfig = [](sub_handle, int, int, int, int) { return 0; };
    table.irTx = [](sub_handle, int, char *) { return 0; };
    table.rsTiming = [](sub_handle, int flags, int, int replyTimeout, int) {
        REQUIRE(flags == 2 && replyTimeout > 0);
        return answer.error;
    };
    table.rsXfer = transfer;
    table.lastError = &lastError;
    return table;
}

/// The numbers at which something changes, and any other.
int number(Input &input)
{
    constexpr std::array<int, 8> Special{0,
                                         -1,
                                         ReceiveSize,
                                         ReceiveSize + 1,
                                         256,
                                         std::numeric_limits<int>::max(),
                                         std::numeric_limits<int>::min(),
                                         -std::numeric_limits<int>::max()};
    const std::uint8_t kind = input.byte();
    if (kind < Special.size())
        return Special[kind];
    if (kind < 128)
        return kind - static_cast<int>(Special.size());
    const std::uint32_t high = input.word();
    return static_cast<int>((high << 16U) | input.word());
}

constexpr std::uint8_t Broadcast = 1;
constexpr std::uint8_t Checked = 2;
constexpr std::uint8_t Identity = 4;
constexpr std::uint8_t GoodCrc = 8;
constexpr std::uint8_t Text = 16;
constexpr std::uint8_t Echo = 32;
constexpr std::uint8_t Traced = 64;

void drawAnswer(Input &input, std::uint8_t flags)
{
    answer = {};
    answer.count = number(input);
    answer.error = number(input);
    answer.hasText = (flags & Text) != 0;
    const std::vector<std::uint8_t> text =
        answer.hasText ? input.copy(input.byte()) : std::vector<std::uint8_t>();
    answer.text.assign(text.begin(), text.end());
    answer.bytes = input.copy(std::min<std::size_t>(input.byte(), ReceiveSize));
    if ((flags & GoodCrc) != 0)
        simulator::appendModbusCrc(answer.bytes);
    if ((flags & GoodCrc) != 0)
        answer.count = static_cast<int>(answer.bytes.size());
    answer.isEcho = (flags & Echo) != 0;
}

void runTransaction(Input &input, Modbus &modbus, sub_handle handle, QStringList &errors)
{
    const std::uint8_t flags = input.byte();
    const bool isChecked = (flags & Checked) != 0;
    const std::uint8_t address = (flags & Broadcast) != 0 ? 0 : 80;
    drawAnswer(input, flags);
    errors.clear();
    modbus.setReplyChecked(isChecked);
    modbus.setTraceFlag((flags & Traced) != 0 ? 1 : 0);
    const std::vector<std::uint8_t> record{1, 2, 3, 4};
    const bool isIdentity = (flags & Identity) != 0;
    const std::int32_t result =
        isIdentity ? modbus.readDeviceId(handle, address, 1, 0)
                   : modbus.writeFileRecord(handle, address, 0, RecordNumber, 4, record.data());
    if (answer.count < 0) {
        REQUIRE(result == -std::max(answer.count, -std::numeric_limits<int>::max()));
        REQUIRE(errors.size() == 1 && errors[0].startsWith(QStringLiteral("sub_rs_xfer: ")));
        return;
    }
    std::vector<std::uint8_t> given = answer.bytes;
    given.resize(static_cast<std::size_t>(std::min(answer.count, ReceiveSize)));
    const bool needsEcho = isChecked && !isIdentity;
    const Judgement expected = address == 0 ? Judgement{} : judge(given, needsEcho ? request : QByteArray());
    REQUIRE(result == expected.result);
    const bool isTimeout = expected.result == 138;
    REQUIRE(errors == (isTimeout ? QStringList{QStringLiteral("Modbus Timeout")} : expected.errors));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static Sub20 adapter(functions());
    static const sub_handle handle = adapter.open(nullptr);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    Input input(data, size);
    Modbus modbus;
    QStringList errors;
    QObject::connect(&modbus, &Modbus::errorString, &modbus, [&](const QString &text) { errors += text; });
    modbus.setAdapter(adapter);
    while (!input.isEmpty())
        runTransaction(input, modbus, handle, errors);
    return 0;
}
