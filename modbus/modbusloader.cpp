// SPDX-License-Identifier: MIT
#include "modbus/modbusloader.h"

#include "modbus/modbus.h"
#include "update/emitter.h"
#include "update/imagefile.h"

#include <QDebug>
#include <QSerialPort>

#include <array>
#include <cstdint>
#include <utility>

namespace {

constexpr std::int32_t BroadcastDelayMs = 100;
constexpr int ChunksPerProgress = 3;
constexpr std::uint16_t ImageFileNumber = 0;

} // namespace

ModbusLoader::ModbusLoader(LoaderContext lent, Link over) : FirmwareLoader(std::move(lent)), link(over) {}

int ModbusLoader::run()
{
    ImageFile image(context.job.imageFileName);
    if (!image.open()) {
        emit context.emitter.errorSignal(image.openErrorText());
        return LoaderFailed;
    }
    Modbus modbus;
    QObject::connect(&modbus, SIGNAL(errorString(QString)), &context.errorReceiver,
                                     SLOT(reportError(QString)));
    modbus.setAdapter(context.adapter);
    const LinkOptions &options = context.job.link;
    modbus.setTraceFlag(options.traceFrames ? 1 : 0);
    modbus.setBroadcastDelay(BroadcastDelayMs);
    modbus.setReplyGap(options.replyGapMs);
    modbus.setReplyChecked(options.checkReply);
    modbus.setLineEcho(options.lineEcho);
    modbus.setRequestPause(options.requestPauseMs);
    context.sub20Handle = nullptr;
    const int result = runOverLink(modbus, image);
    image.close(); // before the link goes
    return result;
}

int ModbusLoader::runOverLink(Modbus &modbus, ImageFile &image)
{
    switch (link) {
    case Link::Sub20:
        return runOverSub20(modbus, image);
    case Link::SerialPort:
        return runOverSerialPort(modbus, image);
    case Link::None:
        break;
    }
    return LoaderFailed;
}

int ModbusLoader::runOverSub20(Modbus &modbus, ImageFile &image)
{
    context.sub20Handle = context.adapter.open(nullptr);
    if (!context.sub20Handle) {
        emit context.emitter.errorSignal(QStringLiteral("Can't open SUB-20"));
        return LoaderFailed;
    }
    return sendRecords(modbus, image);
}

int ModbusLoader::runOverSerialPort(Modbus &modbus, ImageFile &image)
{
    QSerialPort port;
    port.setBaudRate(QSerialPort::Baud9600);
    port.setStopBits(QSerialPort::OneStop);
    port.setDataBits(QSerialPort::Data8);
    port.setPortName(context.job.portName);
    QObject::connect(&port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
    QObject::connect(&port, SIGNAL(bytesWritten(qint64)), &modbus, SLOT(bytesWritten(qint64)));
    modbus.setSerialPort(&port);

    int result = LoaderFailed;
    if (port.open(QIODevice::ReadWrite)) {
        result = sendRecords(modbus, image);
    } else {
        if (context.figures)
            context.figures->portWasRefused = true;
        const QString text = port.errorString();
        qDebug().noquote() << text;
        emit context.emitter.errorSignal(text);
    }
    // The image is let go before the port, so that whoever sees the port free finds the image free as well.
    image.close();
    QObject::disconnect(&port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
    QObject::disconnect(&port, SIGNAL(bytesWritten(qint64)), &modbus, SLOT(bytesWritten(qint64)));
    port.close();
    modbus.setSerialPort(nullptr);
    return result;
}

int ModbusLoader::sendRecords(Modbus &modbus, ImageFile &image)
{
    const int total = static_cast<int>(image.size() / ChunkSize);
    emit context.emitter.load_start(0, total);

    std::array<std::uint8_t, ChunkSize> chunk{};
    int sent = 0;
    qint64 count = 0;
    while ((count = image.read(chunk)) > 0) {
        if (context.stopRequested)
            return LoaderFailed;
        if (count % 2 != 0) // a record is made of whole registers
            chunk[static_cast<std::size_t>(count++)] = 0;
        noteSending();
        const std::int32_t result = modbus.writeFileRecord(
            context.sub20Handle, static_cast<std::uint8_t>(context.job.deviceAddress), ImageFileNumber,
            static_cast<std::uint16_t>(sent), static_cast<std::int32_t>(count), chunk.data());
        if (result != MB_OK)
            return result;
        noteDone(count == ChunkSize);
        ++sent;
        if (sent % ChunksPerProgress == 0)
            emit context.emitter.load_progress(sent);
    }

    if (count < 0)
        emit context.emitter.errorSignal(
            QStringLiteral("MODBUS BOOT. Image read failed: %1").arg(image.errorText()));
    emit context.emitter.load_progress(total);
    return count < 0 ? LoaderFailed : LoaderDone;
}
