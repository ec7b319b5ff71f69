// SPDX-License-Identifier: MIT
#include "tests/walk/wires.h"

#include "modbus/crc16.h"
#include "tests/support/bytes.h"
#include "tests/walk/panelline.h"

#include <QMutexLocker>

#include <algorithm>

namespace {

constexpr int ErrorCode = 7;

QString hex(const char *data, int size)
{
    return QString::fromLatin1(QByteArray(data, size).toHex());
}

} // namespace

QByteArray replyTo(const QByteArray &request, Outcome outcome)
{
    switch (outcome) {
    case Outcome::Good:
        return request;
    case Outcome::BadCheck:
        return request.chopped(1) + static_cast<char>(~request.back());
    case Outcome::Exception: {
        const QByteArray bytes = request.first(1) + "\x95\x04";
        const std::uint16_t crc = rtu::crc16(byteView(bytes));
        return bytes + static_cast<char>(crc & 0xFFU) + static_cast<char>(crc >> 8U);
    }
    case Outcome::Short:
        return request.first(2);
    case Outcome::Silence:
    case Outcome::LibraryError:
        break;
    }
    return {};
}

Wires::Wires()
{
    current = this;
}

Wires::~Wires()
{
    panels.clear();
    current = nullptr;
}

void Wires::setAdapter(bool isThere)
{
    const QMutexLocker lock(&mutex);
    adapterIsThere = isThere;
}

void Wires::addPanel(const QString &portName)
{
    panels.insert(portName, std::make_shared<PanelLine>(*this, portName));
}

void Wires::removePanel(const QString &portName)
{
    panels.remove(portName);
}

void Wires::letGo(Outcome outcome, int more)
{
    const QMutexLocker lock(&mutex);
    released = outcome;
    permits = more;
    held = false;
    changed.wakeAll();
}

void Wires::holdAll()
{
    const QMutexLocker lock(&mutex);
    permits = 0;
}

bool Wires::isHeld() const
{
    const QMutexLocker lock(&mutex);
    return held;
}

QStringList Wires::calls() const
{
    const QMutexLocker lock(&mutex);
    return lines;
}

void Wires::forget()
{
    const QMutexLocker lock(&mutex);
    lines.clear();
}

void Wires::note(const QString &line)
{
    const QMutexLocker lock(&mutex);
    lines += line;
}

void Wires::wake()
{
    const QMutexLocker lock(&mutex);
    changed.wakeAll();
}

std::optional<Outcome> Wires::serialFrame(const QString &line, const std::function<bool()> &isGone)
{
    return holdUnless(line, isGone);
}

Outcome Wires::hold(const QString &line)
{
    const Outcome outcome = holdUnless(line, [] { return false; }).value_or(Outcome::LibraryError);
    const QMutexLocker lock(&mutex);
    return adapterIsThere ? outcome : Outcome::LibraryError;
}

std::optional<Outcome> Wires::holdUnless(const QString &line, const std::function<bool()> &isGone)
{
    const QMutexLocker lock(&mutex);
    lines += held ? QStringLiteral("two at once: ") + line : line;
    if (permits > 0) {
        --permits;
        return Outcome::Good;
    }
    released.reset();
    held = true;
    while (!released && !isGone())
        changed.wait(&mutex);
    held = false;
    return released;
}

int Wires::irAnswer(const QString &line)
{
    return hold(line) == Outcome::Good ? 0 : -ErrorCode;
}

int Wires::rsAnswer(const QString &line, const QByteArray &request, char *rx)
{
    const Outcome outcome = hold(line);
    if (outcome == Outcome::LibraryError) {
        errorVariable = ErrorCode;
        return -ErrorCode;
    }
    const QByteArray reply = replyTo(request, outcome);
    std::copy(reply.begin(), reply.end(), rx);
    return static_cast<int>(reply.size());
}

QString Wires::nameOf(sub_handle handle) const
{
    return QStringLiteral("h%1").arg(static_cast<const char *>(handle) - places.data());
}

/// Handles come again, as a library's do.
sub_handle Wires::open()
{
    const QMutexLocker lock(&mutex);
    lines += QStringLiteral("open");
    if (!adapterIsThere)
        return nullptr;
    handles = handles % static_cast<int>(places.size() - 1) + 1;
    return places.data() + handles;
}

int Wires::close(sub_handle handle)
{
    note(QStringLiteral("close ") + nameOf(handle));
    return 0;
}

Sub20Functions Wires::functions()
{
    Sub20Functions table;
    table.findDevices = [](sub_device) -> sub_device {
        now().note(QStringLiteral("find"));
        const QMutexLocker lock(&now().mutex);
        return now().adapterIsThere ? now().places.data() : nullptr;
    };
    table.open = [](sub_device) { return now().open(); };
    table.close = [](sub_handle handle) { return now().close(handle); };
    table.errorText = [](int code) {
        thread_local QByteArray text;
        text = "error " + QByteArray::number(code);
        return text.data();
    };
    table.irConfig = [](sub_handle handle, int carrierHz, int first, int second, int third) {
        return now().irAnswer(QStringLiteral("ir_config %1 %2 %3 %4 %5")
                                  .arg(now().nameOf(handle))
                                  .arg(carrierHz)
                                  .arg(first)
                                  .arg(second)
                                  .arg(third));
    };
    table.irTx = [](sub_handle handle, int size, char *data) {
        return now().irAnswer(QStringLiteral("ir_tx %1 %2").arg(now().nameOf(handle), hex(data, size)));
    };
    table.rsTiming = [](sub_handle handle, int flags, int spacing, int replyTimeout, int byteTimeout) {
        now().note(QStringLiteral("rs_timing %1 %2 %3 %4 %5")
                       .arg(now().nameOf(handle))
                       .arg(flags)
                       .arg(spacing)
                       .arg(replyTimeout)
                       .arg(byteTimeout));
        return 0;
    };
    table.rsXfer = [](sub_handle handle, char *tx, int txSize, char *rx, int rxSize) {
        const QString line =
            QStringLiteral("rs %1 %2 %3").arg(now().nameOf(handle), hex(tx, txSize)).arg(rxSize);
        return now().rsAnswer(line, QByteArray(tx, txSize), rx);
    };
    table.lastError = &errorVariable;
    return table;
}
