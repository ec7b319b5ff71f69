// SPDX-License-Identifier: MIT
// Model: one update, from the open to the end.
#include "tests/walk/model.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr int Codes = 7; ///< what the adapter's library answers when it fails

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

void Model::begin(const Job &job)
{
    ++begun;
    run.emplace(job);
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
        return fail(
            QStringLiteral("SUB-20 %1: error -7")
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
    // Full is the bar of an update that is complete: never that of a stopped one, nor of one that has not
    // begun.
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
