// SPDX-License-Identifier: MIT
#pragma once

#include "modbus/frames.h"
#include "sub20/sub20.h"

#include <QEventLoop>
#include <QObject>
#include <QString>

class QSerialPort;
class QTimer;

/// How a transaction ended. Any other positive value is the negation of a SUB-20 library error.
enum ModbusResult : qint32 {
    MB_OK = 0,                ///< reply complete, CRC good, no exception; or a broadcast was sent
    MB_TX_FAILED = 1,         ///< the serial port took fewer bytes than the frame holds
    MB_RX_OVERFLOW = 27,      ///< more than 255 reply bytes on the serial port
    MB_FRAME_INCOMPLETE = 32, ///< a reply of 2 bytes or fewer
    MB_EXCEPTION = 40,        ///< the reply's function code has bit 7 set
    MB_CRC_ERROR = 104,       ///< the reply's CRC does not match
    MB_TIMEOUT = 138,         ///< no reply
    /// The reply had to be the request's echo, and is not. No error of the library is as large.
    MB_NO_ECHO = 0x10000,
};

/// One Modbus RTU link, over a SUB-20's RS-485 port or a serial port: sends one request at a time and checks
/// its reply. It lives for one upload, on the upload's thread; every operation blocks that thread.
///
/// A failure is told twice: as a text on errorString() and as a ModbusResult. Nothing is retried.
class Modbus : public QObject
{
    Q_OBJECT

public:
    explicit Modbus(QObject *parent = nullptr);
    ~Modbus() override;

    Modbus(const Modbus &) = delete;
    Modbus &operator=(const Modbus &) = delete;

    /// Non-zero: every frame is written to the log as hexadecimal text, at info level.
    void setTraceFlag(qint32 flag) { traceFlag = flag; }
    /// The pause in ms after a request to address 0, in which the panels do what they were told.
    void setBroadcastDelay(qint32 ms) { broadcastDelay = ms; }
    /// How long in ms a reply over the serial port may pause before it is complete. 0, the default: not at
    /// all.
    void setReplyGap(int ms) { replyGap = ms; }
    /// Whether the reply to Write File Record has to be the request's echo; by default it need not.
    void setReplyChecked(bool checked) { replyChecked = checked; }
    /// The binding through which SUB-20 handles are used; not owned. By default the process's one.
    void setAdapter(Sub20 &binding) { adapter = &binding; }
    /// The open port to talk over; not owned. Without one, exchanges need a SUB-20 handle.
    void setSerialPort(QSerialPort *port);

    // Frames: modbus.cpp

    /// Puts the CRC over the first `length` bytes of `frame` behind them, low byte first, and adds its 2
    /// bytes to `length`. `frame` has room for them.
    static void crcAppend(std::uint8_t *frame, qint32 &length);
    /// Sends the first `requestLength` bytes of the request buffer and their CRC, and checks the reply: its
    /// size, then its CRC, then its exception bit. `timeoutMs` is the adapter's reply time-out; a serial port
    /// has a fixed one. Returns a ModbusResult.
    qint32 transaction(sub_handle sub20Handle, qint32 requestLength, qint32 timeoutMs);
    /// Writes `dataLength` bytes (even, 0 to MaxRecordDataSize) to a record of a file (function 0x15). A
    /// length out of that range is refused with MB_TX_FAILED. Only setReplyChecked() has the reply compared
    /// with the request.
    qint32 writeFileRecord(sub_handle sub20Handle, quint8 slaveAddress, quint16 fileNumber,
                           quint16 recordNumber, qint32 dataLength, const std::uint8_t *data);
    /// Reads the identity of the panel (function 0x2B/0x0E) and prints it to the standard output.
    qint32 readDeviceId(sub_handle sub20Handle, quint8 slaveAddress, quint8 readDeviceIdCode,
                        quint8 objectId);
    /// Writes the frame to the log when the trace flag is set.
    void dumpFrame(FrameDirection direction, const std::uint8_t *bytes, qint32 length) const;

    // Transports: transports.cpp. Both return the number of reply bytes, 0 for a broadcast without reply, or
    // a negative error.

    qint32 xferSub20(sub_handle handle, qint32 requestLength, qint32 timeoutMs);
    qint32 xferCom(qint32 requestLength);
    /// Pauses for `ms` while events of this thread go on.
    void delay(int ms);

signals:
    void errorString(QString text);

public slots:
    /// Ends the wait for a reply.
    void getData();
    void bytesWritten(qint64 bytes);

private:
    qint32 checkReply(qint32 count);
    bool sendRequest(qint32 requestLength);
    bool isEcho(qint32 requestLength) const;
    void awaitBytes(int timeoutMs);
    qint64 readByte(qint32 count);
    qint32 readReply();
    bool lineIsGone() const;

    qint32 traceFlag = 0;
    qint32 broadcastDelay = 0;
    int replyGap = 0;
    bool replyChecked = false;
    FrameBuffer requestBuffer{};
    FrameBuffer replyBuffer{};
    /// How many bytes of the reply buffer the last reply took.
    qint32 replySize = 0;
    Sub20 *adapter = &Sub20::instance();
    QSerialPort *serialPort = nullptr;
    QEventLoop replyLoop;
    QTimer *replyTimer = nullptr;
    /// Bytes came in since the request was handed to the port, or since the reply paused.
    bool replyArrived = false;
};
