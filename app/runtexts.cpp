// SPDX-License-Identifier: MIT
#include "app/runtexts.h"

#include "connections/connection.h"
#include "connections/hexadecimal.h"
#include "modbus/frames.h"
#include "modbus/linetime.h"
#include "modbus/modbusloader.h"
#include "modbus/modbusresult.h"
#include "update/firmwareloader.h"
#include "update/infraredframe.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <span>

namespace {

constexpr qint64 ReadSize = qint64{1024} * 1024;
constexpr double MsPerSecond = 1000;
constexpr double UsPerMs = 1000;
constexpr int AddressDigits = 2;
constexpr int AddressMask = 0xFF;

struct ResultWords
{
    int result;
    const char *words;
};

/// What the results mean that only a serial port has.
constexpr std::array SerialPortResults{
    ResultWords{MB_TX_FAILED, "the serial port cannot be written or read"},
    ResultWords{MB_RX_OVERFLOW, "the panel's reply is too long"},
    ResultWords{MB_LINE_ECHO_WRONG, "the converter did not return what was sent"},
};

/// What the other results of the Modbus link mean. Any other one is an error of the adapter's library.
constexpr std::array ModbusResults{
    ResultWords{MB_FRAME_INCOMPLETE, "the panel's reply is too short"},
    ResultWords{MB_EXCEPTION, "the panel refuses"},
    ResultWords{MB_CRC_ERROR, "the panel's reply is damaged"},
    ResultWords{MB_TIMEOUT, "the panel does not reply"},
    ResultWords{MB_NO_ECHO, "the panel's reply is not the echo of the request"},
};

const char *wordsFor(int result, std::span<const ResultWords> rows)
{
    const auto row = std::ranges::find(rows, result, &ResultWords::result);
    return row != rows.end() ? row->words : nullptr;
}

bool isModbus(const UpdateJob &job)
{
    const ConnectionKind *const kind = connectionKind(job.connectionType);
    return kind && kind->loader == ConnectionLoader::Modbus;
}

bool isBroadcast(const UpdateJob &job)
{
    return (job.deviceAddress & AddressMask) == rtu::BroadcastAddress;
}

QString pieceName(const UpdateJob &job)
{
    return isModbus(job) ? QStringLiteral("record") : QStringLiteral("block");
}

QString ms(double us)
{
    return QString::number(us / UsPerMs, 'f', 1);
}

/// What a record takes on a serial line from its request's first byte to its reply's last, and the pause
/// before, in µs.
qint64 leastRecordUs(const UpdateJob &job)
{
    constexpr int Bytes = ModbusLoader::ChunkSize + rtu::RecordOverhead;
    return rtu::lineTimeUs(qint64{2} * Bytes) + static_cast<qint64>(job.link.requestPauseMs * UsPerMs);
}

QStringList timeTexts(const UpdateJob &job, std::vector<quint32> times)
{
    if (times.empty())
        return {};
    std::sort(times.begin(), times.end());
    const quint32 median = times[times.size() / 2];
    QString text = QStringLiteral("took for each %1: %2 ms at least, %3 ms in the median, %4 ms at most")
                       .arg(pieceName(job), ms(times.front()), ms(median), ms(times.back()));
    if (!isOverSerialPort(job.connectionType) || isBroadcast(job))
        return {text};
    const qint64 least = leastRecordUs(job);
    text += QStringLiteral("; a 9600 baud line needs %1 ms").arg(ms(static_cast<double>(least)));
    if (median >= least || job.link.lineEcho)
        return {text};
    return {text, QStringLiteral("was faster than a 9600 baud line can be: does the converter return what is "
                                 "sent? Then no panel has confirmed anything, see options/line_echo")};
}

} // namespace

ImageFacts lookAtImage(const QString &fileName, const std::atomic<bool> &stopRequested)
{
    ImageFacts image;
    QFile file(fileName);
    if (!QFileInfo(fileName).isFile()) {
        image.problem = QStringLiteral("no file");
        return image;
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (file.open(QIODevice::ReadOnly)) {
        image.size = file.size();
        QByteArray bytes;
        while (!stopRequested && !(bytes = file.read(ReadSize)).isEmpty())
            hash.addData(bytes);
    }
    if (file.error() != QFileDevice::NoError)
        image.problem = file.errorString();
    else if (stopRequested)
        image.problem = QStringLiteral("the run was stopped");
    image.sha256 = hash.result().toHex();
    return image;
}

qint64 piecesOf(const UpdateJob &job, qint64 imageSize)
{
    const qint64 size = isModbus(job) ? qint64{ModbusLoader::ChunkSize} : qint64{infrared::BlockSize};
    return (imageSize + size - 1) / size;
}

QString connectionText(const UpdateJob &job)
{
    const ConnectionKind *const kind = connectionKind(job.connectionType);
    if (!kind)
        return QStringLiteral("connection %1").arg(job.connectionType);
    QString name = kind->device == ConnectionDevice::SerialPort
                       ? QStringLiteral("serial port ") + job.portName
                       : QString::fromLatin1(kind->text);
    if (!kind->hasAddress)
        return name;
    return name + QStringLiteral(", address 0x%1")
                      .arg(job.deviceAddress & AddressMask, AddressDigits, Hexadecimal, QLatin1Char('0'));
}

QString imageText(const UpdateJob &job, const ImageFacts &image)
{
    if (!image.problem.isEmpty())
        return QStringLiteral("image: \"%1\", not looked at: %2").arg(job.imageFileName, image.problem);
    return QStringLiteral("image: \"%1\", %2 bytes, SHA-256 %3, %4 %5s to send")
        .arg(job.imageFileName, QString::number(image.size), QString::fromLatin1(image.sha256),
             QString::number(piecesOf(job, image.size)), pieceName(job));
}

QStringList figureTexts(const UpdateJob &job, const RunFigures &figures, qint64 pieces, qint64 durationMs)
{
    QString text = QStringLiteral("sent %1 of %2 %3s")
                       .arg(QString::number(figures.sent), QString::number(pieces), pieceName(job));
    text += isModbus(job) && !isBroadcast(job) ? QStringLiteral(", %1 of them confirmed").arg(figures.done)
                                               : QStringLiteral(", which nobody confirms");
    text += QStringLiteral(", in %1 s")
                .arg(QString::number(static_cast<double>(durationMs) / MsPerSecond, 'f', 3));
    return QStringList(text) + timeTexts(job, figures.timesUs);
}

QString resultText(const UpdateJob &job, int result)
{
    const auto text = [result](const char *words) {
        return QStringLiteral("result %1, %2").arg(QString::number(result), QString::fromLatin1(words));
    };
    if (result == LoaderDone)
        return text("the whole image was sent");
    if (result == LoaderFailed)
        return text("not all of the image was sent");
    if (result == ImageRefused)
        return text("the image was refused");
    const char *words = isModbus(job) ? wordsFor(result, ModbusResults) : nullptr;
    if (!words && isOverSerialPort(job.connectionType))
        words = wordsFor(result, SerialPortResults);
    return text(words ? words : "an error of the adapter's library");
}

QString stopText(const SessionEnd &end, bool windowIsClosed)
{
    if (!end.wasStopped || end.result == LoaderDone)
        return {};
    return windowIsClosed ? QStringLiteral("; stopped, the window was closed")
                          : QStringLiteral("; stopped by the user");
}
