// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/input.h"
#include "fuzz/virtualtime.h"

#include <QByteArray>
#include <QList>
#include <QSerialPort>

#include <algorithm>
#include <optional>
#include <utility>

/// A serial port without a device: what it receives, and when, is written down beforehand. As with the real
/// one, bytes that have come over the line are there to be read only when an event loop or a wait has taken
/// them in.
class ScriptedPort : public QSerialPort
{
public:
    struct Portion
    {
        qint64 pauseNs = 0; ///< from the portion before, or from the request
        QByteArray bytes;
        QSerialPort::SerialPortError error = QSerialPort::NoError;
    };

    ScriptedPort() { setOpenMode(QIODevice::ReadWrite | QIODevice::Unbuffered); }
    ~ScriptedPort() override { setOpenMode(QIODevice::NotOpen); }
    ScriptedPort(const ScriptedPort &) = delete;
    ScriptedPort &operator=(const ScriptedPort &) = delete;

    /// The request that was written last.
    QByteArray request;
    /// How many bytes of a request are taken; all of them without a number.
    std::optional<qint64> accepted;
    qint64 writingNs = 0;
    /// What will come once the next request is out, behind what is still to come of the ones before.
    QList<Portion> reply;
    /// Whether what is read at one go is the echo of the request, in front of the reply.
    bool readsEcho = false;
    QByteArray echo;
    /// What has been read of the reply since this was emptied, and where the first byte of it went.
    QByteArray given;
    const char *firstByte = nullptr;
    /// When the first bytes of the reply were taken in: bytes that came behind the request, beyond its echo.
    std::optional<qint64> replyNs;

    std::optional<qint64> nextNs() const
    {
        return script.isEmpty() ? std::nullopt : std::optional(lastNs + script.constFirst().pauseNs);
    }
    void takeNext()
    {
        lastNs = std::max(*nextNs(), lastNs);
        const Portion portion = script.takeFirst();
        if (portion.error != QSerialPort::NoError) {
            emit errorOccurred(portion.error);
            return;
        }
        if (portion.bytes.isEmpty())
            return;
        buffer += portion.bytes;
        if (isRequestOut && !replyNs && buffer.size() + echo.size() > (readsEcho ? request.size() : 0))
            replyNs = VirtualTime::now();
        emit readyRead();
    }
    /// A transaction begins.
    void begin()
    {
        given.clear();
        echo.clear();
        replyNs.reset();
        isRequestOut = false;
    }

    qint64 bytesAvailable() const override { return buffer.size(); }
    bool waitForReadyRead(int ms) override
    {
        REQUIRE(ms == 0); // nothing but a look
        return takeDue();
    }
    bool waitForBytesWritten(int ms) override
    {
        const qint64 longestNs = qint64{ms} * 1'000'000;
        const qint64 endNs = VirtualTime::now() + std::min(writingNs, longestNs);
        // What comes meanwhile is taken in, as by the real one.
        while (nextNs() && *nextNs() <= endNs) {
            VirtualTime::sleepNs(std::max<qint64>(*nextNs() - VirtualTime::now(), 0));
            takeNext();
        }
        VirtualTime::sleepNs(std::max<qint64>(endNs - VirtualTime::now(), 0));
        emit bytesWritten(request.size());
        return writingNs <= longestNs;
    }

protected:
    qint64 writeData(const char *bytes, qint64 size) override
    {
        request = QByteArray(bytes, size);
        isRequestOut = true;
        if (script.isEmpty())
            lastNs = VirtualTime::now();
        script += std::exchange(reply, {});
        return accepted ? std::min(*accepted, size) : size;
    }
    qint64 readData(char *bytes, qint64 size) override
    {
        if (buffer.isEmpty())
            return 0;
        const qint64 count = std::min<qint64>(size, buffer.size());
        if (size > 1) {
            REQUIRE(readsEcho && given.isEmpty() && echo.size() + size <= request.size());
            return hand(bytes, count, echo);
        }
        if (given.isEmpty())
            firstByte = bytes;
        // One behind the other, and all of them in the room for the longest frame.
        REQUIRE(bytes == firstByte + given.size() && given.size() + count <= 256);
        return hand(bytes, count, given);
    }

private:
    qint64 hand(char *bytes, qint64 count, QByteArray &kept)
    {
        std::copy_n(buffer.constData(), count, bytes);
        kept += buffer.first(count);
        buffer.remove(0, count);
        return count;
    }
    bool takeDue()
    {
        bool any = false;
        while (nextNs() && *nextNs() <= VirtualTime::now()) {
            takeNext();
            any = true;
        }
        return any;
    }

    QList<Portion> script;
    QByteArray buffer;
    bool isRequestOut = false;
    qint64 lastNs = 0;
};
