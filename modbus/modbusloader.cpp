// SPDX-License-Identifier: MIT
// MainWindow: uploads the image as Modbus file records, through a SUB-20 or a serial port. Runs on a pool
// thread.
#include "app/mainwindow.h"
#include "connections/connectiontype.h"
#include "modbus/modbus.h"
#include "update/emitter.h"
#include "update/imagefile.h"
#include "update/loaderresult.h"

#include <QDebug>
#include <QSerialPort>

#include <array>

namespace {

constexpr qint32 BroadcastDelayMs = 100;
constexpr int ChunkSize = 32;
constexpr int ChunksPerProgress = 3;
constexpr quint16 ImageFileNumber = 0;

} // namespace

int MainWindow::modbusBoot()
{
    ImageFile image(job.imageFileName);
    if (!image.open()) {
        emit emitter->errorSignal(image.openErrorText());
        return LoaderFailed;
    }
    Modbus modbus;
    connect(&modbus, SIGNAL(errorString(QString)), this, SLOT(reportError(QString)));
    modbus.setTraceFlag(0);
    modbus.setBroadcastDelay(BroadcastDelayMs);
    modbus.setReplyGap(options.replyGapMs);
    modbus.setReplyChecked(options.checkReply);
    sub20Handle = nullptr;
    switch (job.connectionType) {
    case ConnectionModbusSub20:
        return bootOverSub20(modbus, image);
    case ConnectionComPort:
        return bootOverSerialPort(modbus, image);
    default:
        return LoaderFailed;
    }
}

int MainWindow::bootOverSub20(Modbus &modbus, ImageFile &image)
{
    sub20Handle = Sub20::instance().open(nullptr);
    if (!sub20Handle) {
        emit emitter->errorSignal(QStringLiteral("Can't open SUB-20"));
        return LoaderFailed;
    }
    return sendRecords(modbus, image);
}

int MainWindow::bootOverSerialPort(Modbus &modbus, ImageFile &image)
{
    QSerialPort port;
    port.setBaudRate(QSerialPort::Baud9600);
    port.setStopBits(QSerialPort::OneStop);
    port.setDataBits(QSerialPort::Data8);
    port.setPortName(job.portName);
    connect(&port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
    connect(&port, SIGNAL(bytesWritten(qint64)), &modbus, SLOT(bytesWritten(qint64)));
    modbus.setSerialPort(&port);

    int result = LoaderFailed;
    if (port.open(QIODevice::ReadWrite)) {
        result = sendRecords(modbus, image);
    } else {
        const QString text = port.errorString();
        qDebug().noquote() << text;
        emit emitter->errorSignal(text);
    }
    disconnect(&port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
    disconnect(&port, SIGNAL(bytesWritten(qint64)), &modbus, SLOT(bytesWritten(qint64)));
    port.close();
    return result;
}

int MainWindow::sendRecords(Modbus &modbus, ImageFile &image)
{
    const int total = static_cast<int>(image.size() / ChunkSize);
    emit emitter->load_start(0, total);

    std::array<std::uint8_t, ChunkSize> chunk{};
    int sent = 0;
    qint64 count = 0;
    while ((count = image.read(chunk)) > 0) {
        if (stopRequested)
            return LoaderFailed;
        if (count % 2 != 0) // a record is made of whole registers
            chunk[static_cast<std::size_t>(count++)] = 0;
        const qint32 result =
            modbus.writeFileRecord(sub20Handle, static_cast<quint8>(job.deviceAddress), ImageFileNumber,
                                   static_cast<quint16>(sent), static_cast<qint32>(count), chunk.data());
        if (result != MB_OK)
            return result;
        ++sent;
        if (sent % ChunksPerProgress == 0)
            emit emitter->load_progress(sent);
    }

    if (count < 0)
        emit emitter->errorSignal(
            QStringLiteral("MODBUS BOOT. Image read failed: %1").arg(image.errorText()));
    emit emitter->load_progress(total);
    return count < 0 ? LoaderFailed : LoaderDone;
}
