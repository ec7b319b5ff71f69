// SPDX-License-Identifier: MIT
// What of a frame is made into text: the panel's identity, the dump and the words for an exception.
#include "fuzz/input.h"
#include "modbus/frames.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <vector>

namespace {

/// The identity as one reads it off the reply, with a buffer twice as large around it for what points
/// outside.
QByteArray expectedIdentity(std::uint8_t address, const rtu::FrameBuffer &reply)
{
    static const QByteArray Labels[]{"   Vendor        : ", "   Product Code  : ", "   Version       : "};
    QByteArray text = "Address:" + QByteArray::number(address).rightJustified(3, '0') + "(0x" +
                      QByteArray::number(address, 16).toUpper().rightJustified(2, '0') + ")\n";
    int at = 8;
    for (int object = 0; object < reply[7]; ++object) {
        if (at < 0 || at > 254)
            return text;
        const std::uint8_t id = reply[static_cast<std::size_t>(at)];
        const auto length = static_cast<std::int8_t>(reply[static_cast<std::size_t>(at) + 1]);
        if (id < 3)
            text += Labels[id];
        for (int i = at + 2; i < at + 2 + length && i < 256; ++i)
            text += static_cast<char>(reply[static_cast<std::size_t>(i)]);
        text += '\n';
        at += 2 + length;
    }
    return text;
}

void checkIdentity(std::uint8_t address, const std::vector<std::uint8_t> &frame)
{
    rtu::FrameBuffer reply{};
    std::copy_n(frame.begin(), std::min(frame.size(), reply.size()), reply.begin());
    REQUIRE(rtu::identityText(address, reply) == expectedIdentity(address, reply));
}

/// The digits of a dump are those of the frame, and nothing stands between them but what belongs there.
void checkDump(rtu::FrameDirection direction, const std::vector<std::uint8_t> &frame)
{
    const QByteArray text = rtu::dumpText(direction, frame).toLatin1();
    REQUIRE(text.startsWith(direction == rtu::FrameDirection::Sent ? "--> " : "<-- "));
    const QByteArray bytes(reinterpret_cast<const char *>(frame.data()),
                           static_cast<qsizetype>(frame.size()));
    QByteArray digits = text.mid(4);
    REQUIRE(digits.count('|') == std::min<qsizetype>(bytes.size(), 2));
    REQUIRE(digits.count('_') == (bytes.size() > 3 ? 1 : 0));
    REQUIRE(digits.count("\n    ") == bytes.size() / 16);
    // The CRC may fall on two lines.
    digits.replace("\n    ", "");
    REQUIRE(bytes.size() <= 3 || digits.mid(digits.indexOf('_') + 1, 2) == bytes.last(1).toHex().toUpper());
    for (const char separator : {'|', '_', ' '})
        digits.replace(QByteArray(1, separator), QByteArray());
    REQUIRE(digits == bytes.toHex().toUpper());
}

/// What a reply is taken for while it comes in.
void checkKinds(const std::vector<std::uint8_t> &frame)
{
    const std::size_t size = frame.size();
    const bool isEcho = size >= 4 && frame[1] == 0x15 && frame[2] < 0x80 && size == std::size_t{frame[2]} + 5;
    REQUIRE(rtu::isCompleteRecordEcho(frame) == isEcho);
    REQUIRE(rtu::isCompleteException(frame) == (size == 5 && frame[1] >= 0x80));
}

void checkException(std::uint8_t code)
{
    const QString text = rtu::exceptionText(code);
    REQUIRE(!text.isEmpty());
    REQUIRE(text.endsWith(QStringLiteral(" - Unknown")) == (code < 1 || code > 4));
    REQUIRE(code < 5 || text.startsWith(QString::number(code) + u' '));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const std::uint8_t first = input.byte();
    const std::vector<std::uint8_t> frame = input.copy(input.size());
    checkIdentity(first, frame);
    checkDump(static_cast<rtu::FrameDirection>(first & 1U), frame);
    checkKinds(frame);
    checkException(first);
    return 0;
}
