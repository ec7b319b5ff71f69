// SPDX-License-Identifier: MIT
#pragma once

#include "modbus/modbus.h"
#include "tests/support/bytes.h"
#include "tests/support/messagelog.h"

#include <QSerialPort>
#include <QSocketNotifier>
#include <QTest>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <span>

/// A pseudo-terminal without a panel, whose bytes the test writes and reads by itself.
class Pty
{
public:
    Pty()
    {
        termios raw{};
        cfmakeraw(&raw);
        std::array<char, 64> name{};
        QCOMPARE(openpty(&master, &slave, name.data(), &raw, nullptr), 0);
        clientPath = QString::fromLatin1(name.data());
    }
    ~Pty() { hangUp(); }
    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    QString path() const { return clientPath; }

    /// Sends `reply` as soon as a request has come, from the event loop of this thread. Once.
    void answer(const QByteArray &reply)
    {
        notifier = std::make_unique<QSocketNotifier>(master, QSocketNotifier::Read);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [this, reply] {
            notifier->setEnabled(false);
            send(reply);
        });
    }
    void send(const QByteArray &bytes) const
    {
        QCOMPARE(::write(master, bytes.constData(), static_cast<std::size_t>(bytes.size())), bytes.size());
    }
    /// What the other side has written so far.
    QByteArray take() const
    {
        std::array<char, 512> bytes{};
        if (!waitForBytes(0))
            return {};
        return {bytes.data(), ::read(master, bytes.data(), bytes.size())};
    }
    /// Fills the line from the port to the panel, so that it takes no more.
    void stuff() const
    {
        constexpr int SettledMs = 200; // the system makes room once more behind the first fill
        const std::array<char, 512> bytes{};
        QVERIFY(::fcntl(slave, F_SETFL, O_NONBLOCK) == 0);
        pollfd entry{slave, POLLOUT, 0};
        while (::poll(&entry, 1, SettledMs) > 0)
            while (::write(slave, bytes.data(), bytes.size()) > 0)
                ;
    }
    bool waitForBytes(int timeoutMs) const
    {
        pollfd entry{master, POLLIN, 0};
        return ::poll(&entry, 1, timeoutMs) > 0;
    }
    void hangUp()
    {
        notifier.reset();
        for (int *end : {&slave, &master}) {
            if (*end >= 0)
                ::close(*end);
            *end = -1;
        }
    }

private:
    int master = -1;
    int slave = -1;
    QString clientPath;
    std::unique_ptr<QSocketNotifier> notifier;
};

/// A Modbus over an open serial port, wired as for an upload. `events` has what it logs and what it reports
/// as errors, in their order.
class SerialLink
{
public:
    explicit SerialLink(const QString &path, QIODevice::OpenMode mode = QIODevice::ReadWrite)
    {
        QObject::connect(&port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
        QObject::connect(&port, SIGNAL(bytesWritten(qint64)), &modbus, SLOT(bytesWritten(qint64)));
        QObject::connect(&modbus, &Modbus::errorString, &modbus,
                         [this](const QString &text) { events.add(QStringLiteral("error: ") + text); });
        port.setPortName(path);
        modbus.setSerialPort(&port);
        if (mode != QIODevice::NotOpen)
            QVERIFY2(port.open(mode), qPrintable(port.errorString()));
    }

    /// Sends the bytes 00 to 1F as a record of file 0, in a frame of 44 bytes.
    qint32 writeChunk(quint8 address = 80, quint16 record = 0)
    {
        const QByteArray data = countingBytes(0, 32);
        return modbus.writeFileRecord(nullptr, address, 0, record, 32, byteView(data).data());
    }

    MessageLog events;
    QSerialPort port;
    Modbus modbus;
};

/// What a request of 44 bytes logs once it is out.
inline const QString ChunkWritten = QStringLiteral("debug: 44 bytes written...");

inline QByteArray withCrc(QByteArray frame)
{
    qint32 length = static_cast<qint32>(frame.size());
    frame.resize(frame.size() + rtu::CrcSize);
    Modbus::crcAppend(reinterpret_cast<std::uint8_t *>(frame.data()), length);
    return frame;
}

/// The request that writes `data` to record 0 of the panel with address 80.
inline QByteArray requestWith(const QByteArray &data)
{
    rtu::FrameBuffer frame{};
    const int length = rtu::buildWriteFileRecord(frame, 80, 0, 0, byteView(data));
    return withCrc(byteArray(std::span(frame).first(static_cast<std::size_t>(length))));
}
