// SPDX-License-Identifier: MIT
#pragma once

#include "modbus/frames.h"
#include "modbus/linetime.h"
#include "modbus/modbusresult.h"
#include "sub20/sub20.h"

#include <QEventLoop>
#include <QObject>
#include <QSerialPort>
#include <QString>

#include <algorithm>
#include <cstdint>
#include <span>

class QDeadlineTimer;
class QTimer;

/// One Modbus RTU link, over a SUB-20's RS-485 port or a serial port: sends one request at a time and checks
/// its reply. It lives for one upload, on the upload's thread; every operation blocks that thread.
///
/// A failure is reported twice: as a text on errorString() and as a ModbusResult. Nothing is retried. The
/// link knows no stop: it holds its thread until the request has ended by itself.
///
/// Every time of the link, who keeps it, and what it ends in. Over a serial port, xferCom() keeps them all:
/// - setRequestPause(), 50 ms, before a request: then it goes out.
/// - 500 ms for writing it: then the reply is awaited, whatever was written.
/// - With setLineEcho(), LineEchoSlackMs beside what the line takes for the request, for its whole echo:
///   MB_LINE_ECHO_WRONG. What follows here begins behind the echo.
/// - 10000 ms for the reply to begin, by the reply timer: MB_TIMEOUT.
/// - 2 ms behind the reply's first byte: then the rest is read.
/// - setReplyGap() for each pause within the reply, by the reply timer: what has come by then is the reply.
/// - LongestReplyMs and GapsPerReply gaps for a whole reply: what has come by then is the reply.
///
/// Over a SUB-20, the adapter keeps these:
/// - 1000 ms for the reply to a record, 100 ms for the panel's identity: MB_TIMEOUT.
/// - 10 ms for a pause within the reply: what has come by then is the reply.
/// - 10 ms behind a broadcast: nothing, no reply is expected.
///
/// And transaction(), over both: setBroadcastDelay() behind a broadcast, then MB_OK.
class Modbus : public QObject
{
    Q_OBJECT

public:
    /// The longest reply over a serial port, in bytes.
    static constexpr std::int32_t LongestReply = 255;
    /// What it takes on the line at most.
    static constexpr std::int32_t LongestReplyMs = rtu::lineTimeMs(LongestReply, rtu::MostBitsPerByte);
    /// How many reply gaps a whole reply has room for beside that: the panel may pause once, and the port or
    /// its converter may hold the end back once.
    static constexpr std::int32_t GapsPerReply = 2;
    /// How much later than the line could have carried it a request may come back from the converter.
    static constexpr std::int32_t LineEchoSlackMs = 1000;
    /// The silence before a request by default. It ends the frame before for the panel's receiver.
    static constexpr std::int32_t DefaultRequestPauseMs = 50;

    explicit Modbus(QObject *parent = nullptr);
    ~Modbus() override;

    Modbus(const Modbus &) = delete;
    Modbus &operator=(const Modbus &) = delete;

    /// Non-zero: every frame is written to the log as hexadecimal text, at info level.
    void setTraceFlag(std::int32_t flag) { traceFlag = flag; }
    /// The pause in ms after a request to address 0, in which the panels do what it asks for. Below 0 is 0.
    void setBroadcastDelay(std::int32_t ms) { broadcastDelay = std::max(ms, 0); }
    /// How long in ms a reply over the serial port may pause before it is complete. 0, the default: not at
    /// all. Whatever its pauses, a reply is over LongestReplyMs and GapsPerReply gaps after its first byte.
    void setReplyGap(std::int32_t ms) { replyGap = std::max(ms, 0); }
    /// Whether the reply to Write File Record has to be the request's echo; by default it need not.
    void setReplyChecked(bool checked) { replyChecked = checked; }
    /// Whether the serial port's converter returns all that is sent. What it returns is then taken off the
    /// line in front of each reply, and behind a broadcast, and has to be the request.
    void setLineEcho(bool echoes) { lineEcho = echoes; }
    /// The pause in ms in front of each request over a serial port; it is never shorter. Below 0 is 0.
    void setRequestPause(std::int32_t ms) { requestPause = std::max(ms, 0); }
    /// The binding through which SUB-20 handles are used; not owned. By default the process's one.
    void setAdapter(Sub20 &binding) { adapter = &binding; }
    /// The open port to talk over; not owned. Without one, exchanges need a SUB-20 handle.
    void setSerialPort(QSerialPort *port);

    // Frames: modbus.cpp

    /// Puts the CRC over the first `length` bytes of `frame` behind them, low byte first, and adds its 2
    /// bytes to `length`. `frame` has room for them.
    static void crcAppend(std::uint8_t *frame, std::int32_t &length);
    /// Sends the first `requestLength` bytes of the request buffer (0 to 254) and their CRC, and checks the
    /// reply: its size, then its CRC, then its exception bit. `timeoutMs` is the adapter's reply time-out; a
    /// serial port has a fixed one. Returns a ModbusResult: MB_TX_FAILED, with nothing sent, for any other
    /// length, and without handle and port.
    [[nodiscard]] std::int32_t transaction(sub_handle sub20Handle, std::int32_t requestLength,
                                           std::int32_t timeoutMs);
    /// Writes `dataLength` bytes (even, 0 to MaxRecordDataSize) to a record of a file (function 0x15). A
    /// length out of that range is refused with MB_TX_FAILED. Only setReplyChecked() has the reply compared
    /// with the request. An echo of the line that is wrong is reported with the record's number.
    [[nodiscard]] std::int32_t writeFileRecord(sub_handle sub20Handle, std::uint8_t slaveAddress,
                                               std::uint16_t fileNumber, std::uint16_t recordNumber,
                                               std::int32_t dataLength, const std::uint8_t *data);
    /// Reads the identity of the panel (function 0x2B/0x0E) and prints it to the standard output.
    [[nodiscard]] std::int32_t readDeviceId(sub_handle sub20Handle, std::uint8_t slaveAddress,
                                            std::uint8_t readDeviceIdCode, std::uint8_t objectId);
    /// Writes the frame to the log when the trace flag is set.
    void dumpFrame(rtu::FrameDirection direction, const std::uint8_t *bytes, std::int32_t length) const;

    // Transports: modbus_transports.cpp. Both return the number of reply bytes, 0 for a broadcast without
    // reply, or a negative error.

    [[nodiscard]] std::int32_t xferSub20(sub_handle handle, std::int32_t requestLength,
                                         std::int32_t timeoutMs);
    [[nodiscard]] std::int32_t xferCom(std::int32_t requestLength);
    /// Pauses for `ms` while events of this thread go on. Neither bytes nor errors of the port end it.
    void delay(std::int32_t ms);

signals:
    void errorString(QString text);

public slots:
    /// Ends the wait for a reply.
    void getData();
    void bytesWritten(qint64 bytes);

private:
    std::int32_t checkReply(std::int32_t count);
    bool sendRequest(std::int32_t requestLength);
    bool isEcho(std::int32_t requestLength) const;
    /// The first `count` bytes of the reply.
    std::span<const std::uint8_t> received(std::int32_t count) const;
    void noteError(QSerialPort::SerialPortError error);
    void awaitBytes(std::int32_t timeoutMs);
    qint64 readByte(std::int32_t count, const QDeadlineTimer &replyEnd);
    std::int32_t readReply();

    // The echo of the line: modbus_lineecho.cpp

    bool takeLineEcho(std::int32_t requestLength, const QDeadlineTimer &echoEnd);
    QString lineEchoText(std::uint16_t recordNumber) const;

    std::int32_t traceFlag = 0;
    std::int32_t broadcastDelay = 0;
    std::int32_t replyGap = 0;
    bool replyChecked = false;
    bool lineEcho = false;
    /// All of the last request's echo came, whether it was right or not.
    bool lineEchoWhole = false;
    std::int32_t requestPause = DefaultRequestPauseMs;
    rtu::FrameBuffer requestBuffer{};
    rtu::FrameBuffer replyBuffer{};
    /// How many bytes of the reply buffer the last reply took.
    std::int32_t replySize = 0;
    Sub20 *adapter = &Sub20::instance();
    QSerialPort *serialPort = nullptr;
    QEventLoop replyLoop;
    QTimer *replyTimer = nullptr;
    /// The reply loop runs because bytes are awaited, not for a pause.
    bool awaitingReply = false;
    /// Bytes came in since the request was handed to the port.
    bool replyArrived = false;
    /// The port has lost its line since the request began.
    bool lineGone = false;
};
