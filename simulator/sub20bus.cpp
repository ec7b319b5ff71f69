// SPDX-License-Identifier: MIT
#include "simulator/sub20bus.h"

#include <algorithm>
#include <thread>

namespace simulator {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int NotFoundError = -1;
constexpr int NotOpenError = -2;
constexpr int BusyError = -3;
constexpr int ArgumentError = -4;

constexpr milliseconds GateLookEvery{1};

constexpr std::int64_t UsPerSecond = 1'000'000;
constexpr std::int64_t BitsPerByte = 10; // start bit, 8 data bits, stop bit
constexpr std::int64_t RsBaudRate = 9600;

std::string join(std::string text, std::initializer_list<int> numbers)
{
    for (const int number : numbers)
        text.append(" ").append(std::to_string(number));
    return text;
}

std::string hexText(ByteView bytes)
{
    constexpr std::string_view Digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += Digits[byte >> 4];
        text += Digits[byte & 0x0F];
    }
    return text;
}

ByteView view(const char *data, int size)
{
    return {reinterpret_cast<const std::uint8_t *>(data), static_cast<std::size_t>(size)};
}

// The second number of sub_ir_config is taken as the carrier periods of one bit.
microseconds irDuration(const TransferTime &time, const IrConfig &config, int size)
{
    if (!time.real)
        return milliseconds(time.ms);
    const std::int64_t periods = size * BitsPerByte * config.first;
    return microseconds(config.carrierHz > 0 ? periods * UsPerSecond / config.carrierHz : 0);
}

microseconds rsDuration(const TransferTime &time, std::size_t bytes)
{
    if (!time.real)
        return milliseconds(time.ms);
    return microseconds(static_cast<std::int64_t>(bytes) * BitsPerByte * UsPerSecond / RsBaudRate);
}

} // namespace

int Sub20Bus::close(void *pointer)
{
    const std::lock_guard lock(mutex);
    refresh();
    const std::optional<int> planned = countCall("sub_close");
    Handle *const handle = find(pointer);
    const std::string call = "sub_close " + name(pointer);
    if (handle == nullptr || !handle->open) {
        logMisuse(call + " not open");
        return fail(NotOpenError);
    }
    if (handle->busy)
        logMisuse(call + " during a transfer");
    handle->open = false;
    logCounts();
    const int result = planned.value_or(0);
    logCall(call, std::to_string(result));
    return result;
}

char *Sub20Bus::errorText(int code)
{
    const std::lock_guard lock(mutex);
    refresh();
    const bool refused = countCall("sub_strerror").has_value() || simulation->settings.noErrorText;
    std::string &text = errorTexts[code];
    if (text.empty())
        text = "simulated adapter error " + std::to_string(code);
    logCall(join("sub_strerror", {code}), refused ? "null" : text);
    return refused ? nullptr : text.data();
}

int Sub20Bus::irConfig(void *pointer, const IrConfig &config)
{
    const std::lock_guard lock(mutex);
    const Admission admission = admit("sub_ir_config", pointer);
    const int result = admission.refusal.value_or(0);
    if (!admission.refusal) {
        admission.handle->ir = config;
        admission.handle->irTransmissions = 0;
    }
    const std::string call =
        join("sub_ir_config " + name(pointer), {config.carrierHz, config.first, config.second, config.third});
    logCall(call, std::to_string(result));
    return result;
}

int Sub20Bus::irTx(void *pointer, int size, const char *data)
{
    std::unique_lock lock(mutex);
    const bool goodArguments = size > 0 && data != nullptr;
    const Admission admission = admitTransfer("sub_ir_tx", pointer, goodArguments);
    std::string call = join("sub_ir_tx " + name(pointer), {size});
    if (goodArguments && simulation->settings.logData)
        call += " tx=" + hexText(view(data, size));
    if (admission.refusal) {
        logCall(call, std::to_string(*admission.refusal));
        return *admission.refusal;
    }

    Handle &handle = *admission.handle;
    if (!handle.ir)
        logMisuse(call + " before sub_ir_config");
    emitIr(handle, view(data, size));
    const IrConfig config = handle.ir.value_or(IrConfig{});
    const microseconds duration = irDuration(simulation->settings.irTime, config, size);
    handle.busy = true;
    const Sub20Settings settings = simulation->settings;
    const std::uint32_t number = handle.irTransmissions;
    lock.unlock();
    while (!mayTransmissionEnd(settings, number))
        std::this_thread::sleep_for(GateLookEvery);
    std::this_thread::sleep_for(duration);
    lock.lock();
    handle.busy = false;
    logCall(call, "0");
    return 0;
}

void Sub20Bus::emitIr(Handle &handle, ByteView frame)
{
    constexpr IrConfig Understood{38000, 10, 1, 10};
    const std::uint32_t number = handle.irTransmissions / IrCopies;
    const std::uint32_t copy = handle.irTransmissions % IrCopies + 1;
    ++handle.irTransmissions;
    const auto isThis = [number, copy](const CopyOfFrame &each) {
        return each.frame.value_or(number) == number && each.copy == copy;
    };
    const auto holds = [&isThis](const std::vector<CopyOfFrame> &list) {
        return std::any_of(list.begin(), list.end(), isThis);
    };
    if (handle.ir != Understood || holds(simulation->settings.lostCopies))
        return;

    Bytes heard(frame.begin(), frame.end());
    if (holds(simulation->settings.damagedCopies))
        heard[heard.size() / 2] ^= 0x10;
    IrReceiver &receiver = simulation->receiver;
    if (receiver.receive(heard) == IrReceiver::Outcome::Taken)
        simulation->irImage.follow(receiver.image(), receiver.image().size() - IrBlockBytes);
}

int Sub20Bus::rsTiming(void *pointer, const RsTiming &timing)
{
    const std::lock_guard lock(mutex);
    const Admission admission = admit("sub_rs_timing", pointer);
    const int result = admission.refusal.value_or(0);
    const std::string call =
        join("sub_rs_timing " + name(pointer),
             {timing.flags, timing.txSpacingUs, timing.replyTimeoutUs, timing.interByteTimeoutUs});
    if (timing.txSpacingUs < 0 || timing.replyTimeoutUs < 0 || timing.interByteTimeoutUs < 0)
        logMisuse(call + " negative time");
    else if (!admission.refusal)
        admission.handle->rs = timing;
    logCall(call, std::to_string(result));
    return result;
}

int Sub20Bus::rsXfer(void *pointer, const char *tx, int txSize, char *rx, int rxSize)
{
    std::unique_lock lock(mutex);
    const bool goodArguments = tx != nullptr && txSize > 0 && rx != nullptr && rxSize >= 0;
    const Admission admission = admitTransfer("sub_rs_xfer", pointer, goodArguments);
    std::string call = join("sub_rs_xfer " + name(pointer), {txSize, rxSize});
    if (goodArguments && simulation->settings.logData)
        call += " tx=" + hexText(view(tx, txSize));
    if (admission.refusal) {
        logCall(call, std::to_string(*admission.refusal));
        return *admission.refusal;
    }

    Handle &handle = *admission.handle;
    const Schedule schedule = simulation->panel.answer(view(tx, txSize));
    const PanelModel &model = simulation->panel.model();
    simulation->rsImage.follow(model.image(), model.changedFrom());
    const RsReception reception = receiveReply(schedule, handle.rs, static_cast<std::size_t>(rxSize));
    const microseconds lineTime =
        rsDuration(simulation->settings.rsTime, static_cast<std::size_t>(txSize) + reception.bytes.size());
    const bool logData = simulation->settings.logData;
    handle.busy = true;
    lock.unlock();
    std::this_thread::sleep_for(reception.duration + lineTime);
    std::transform(reception.bytes.begin(), reception.bytes.end(), rx,
                   [](std::uint8_t byte) { return static_cast<char>(byte); });
    lock.lock();
    handle.busy = false;
    if (schedule.hangUp)
        simulation->pulledOut = true;
    const int result = schedule.hangUp ? fail(AdapterGoneError) : static_cast<int>(reception.bytes.size());
    logCall(logData ? call + " rx=" + hexText(reception.bytes) : call, std::to_string(result));
    return result;
}

Sub20Bus::Admission Sub20Bus::admit(const char *function, void *pointer)
{
    refresh();
    const std::uint32_t countBefore = simulation->calls[function];
    Handle *const handle = find(pointer);
    if (handle == nullptr || !handle->open) {
        simulation->calls[function] = countBefore + 1;
        logMisuse(std::string(function) + " " + name(pointer) + " not open");
        return {nullptr, fail(NotOpenError)};
    }
    const std::optional<int> planned = countCall(function);
    if (handle->busy) {
        logMisuse(std::string(function) + " " + name(pointer) + " during a transfer");
        return {handle, fail(BusyError)};
    }
    if (adapters() == 0)
        return {handle, fail(AdapterGoneError)};
    return {handle, planned};
}

Sub20Bus::Admission Sub20Bus::admitTransfer(const char *function, void *pointer, bool goodArguments)
{
    const Admission admission = admit(function, pointer);
    ++simulation->transfers;
    const std::optional<PulledOut> &pulled = simulation->settings.pulledOut;
    if (admission.handle != nullptr && pulled && simulation->transfers >= pulled->atTransfer) {
        simulation->pulledOut = true;
        return {admission.handle, fail(pulled->error)};
    }
    if (admission.handle != nullptr && !goodArguments) {
        logMisuse(std::string(function) + " " + name(pointer) + " bad arguments");
        return {admission.handle, fail(ArgumentError)};
    }
    return admission;
}

void *Sub20Bus::findDevices(void *first)
{
    const std::lock_guard lock(mutex);
    refresh();
    const std::optional<int> planned = countCall("sub_find_devices");
    const std::optional<std::size_t> start = adapterIndex(first);
    const std::string call = "sub_find_devices " + deviceName(first);
    if (first != nullptr && !start)
        logMisuse(call);
    const std::size_t next = start ? *start + 1 : 0;
    const bool found = !planned && (first == nullptr || start) && next < adapters();
    if (!found && !planned)
        fail(NotFoundError);
    void *const device = found ? &devices[next] : nullptr;
    logCall(call, deviceName(device));
    return device;
}

void *Sub20Bus::open(void *device)
{
    const std::lock_guard lock(mutex);
    refresh();
    const std::optional<int> planned = countCall("sub_open");
    const std::optional<std::size_t> index = device == nullptr ? std::size_t{0} : adapterIndex(device);
    const std::string call = "sub_open " + deviceName(device);
    if (!index)
        logMisuse(call);
    const bool taken = index && simulation->settings.exclusive &&
                       std::any_of(handles.begin(), handles.end(), [index](const Handle &handle) {
                           return handle.open && handle.adapter == *index;
                       });
    if (planned || !index || *index >= adapters() || taken) {
        if (!planned)
            fail(taken ? BusyError : NotFoundError);
        logCall(call, "null");
        return nullptr;
    }
    Handle &handle = freshHandle();
    handle.open = true;
    handle.adapter = *index;
    logCall(call, name(&handle));
    return &handle;
}

} // namespace simulator
