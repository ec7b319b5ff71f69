// SPDX-License-Identifier: MIT
#include "simulator/panelmodel.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace simulator {

namespace {

constexpr std::uint8_t WriteFileRecord = 0x15;
constexpr std::uint8_t EncapsulatedInterface = 0x2B;
constexpr std::uint8_t DeviceIdentificationMei = 0x0E;
constexpr std::uint8_t ExceptionBit = 0x80;

constexpr std::uint8_t IllegalFunction = 1;
constexpr std::uint8_t IllegalDataAddress = 2;
constexpr std::uint8_t IllegalDataValue = 3;

constexpr std::size_t CrcBytes = 2;
constexpr std::size_t ShortestFrameBytes = 4;
constexpr std::size_t RecordHeaderBytes = 7; // reference type, file, record, length in registers
constexpr std::size_t WritePrefixBytes = 3;  // address, function, byte count
constexpr std::size_t ShortestByteCount = RecordHeaderBytes + 2;
constexpr std::size_t LongestByteCount = 0xFB; // a frame holds at most 256 bytes
constexpr std::size_t IdentificationRequestBytes = 7;
constexpr std::uint8_t FileReferenceType = 6;
constexpr std::uint16_t ImageFileNumber = 0;
constexpr std::uint8_t ErasedByte = 0xFF;
constexpr std::uint16_t LastRecord = 0xFFFF;

// Read Device ID codes of the Modbus application protocol: 1 to 3 ask for a stream, 4 for one object.
constexpr std::uint8_t BasicStream = 1;
constexpr std::uint8_t ExtendedStream = 3;
constexpr std::uint8_t SingleObject = 4;
constexpr std::uint8_t BasicStreamAndSingleObjects = 0x81;

constexpr std::array<std::string_view, 3> BasicObjects{"Norvantic", "ZEPHYRIN", "1.0"};

std::uint16_t bigEndian(ByteView bytes, std::size_t offset)
{
    return static_cast<std::uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

Bytes exceptionReply(ByteView request, std::uint8_t code)
{
    Bytes reply{request[0], static_cast<std::uint8_t>(request[1] | ExceptionBit), code};
    appendModbusCrc(reply);
    return reply;
}

struct Record
{
    std::uint16_t number;
    ByteView data;
};

struct ParsedRecords
{
    std::vector<Record> records;
    std::uint8_t exceptionCode = 0;
};

// One request may carry several records, each with its own header. `body` is what the byte count covers.
ParsedRecords parseRecords(ByteView body)
{
    ParsedRecords parsed;
    while (!body.empty()) {
        if (body.size() < RecordHeaderBytes)
            return {{}, IllegalDataValue};
        if (body[0] != FileReferenceType || bigEndian(body, 1) != ImageFileNumber)
            return {{}, IllegalDataAddress};
        const std::size_t size = std::size_t{bigEndian(body, 5)} * 2;
        if (size == 0 || size > RecordBytes || RecordHeaderBytes + size > body.size())
            return {{}, IllegalDataValue};
        parsed.records.push_back({bigEndian(body, 3), body.subspan(RecordHeaderBytes, size)});
        body = body.subspan(RecordHeaderBytes + size);
    }
    return parsed;
}

void appendObject(Bytes &reply, std::size_t id)
{
    const std::string_view value = BasicObjects[id];
    reply.push_back(static_cast<std::uint8_t>(id));
    reply.push_back(static_cast<std::uint8_t>(value.size()));
    reply.insert(reply.end(), value.begin(), value.end());
}

} // namespace

std::uint16_t modbusCrc(ByteView bytes)
{
    std::uint32_t crc = 0xFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xA001u : crc >> 1;
    }
    return static_cast<std::uint16_t>(crc);
}

void appendModbusCrc(Bytes &frame)
{
    const std::uint16_t crc = modbusCrc(frame);
    frame.push_back(static_cast<std::uint8_t>(crc & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(crc >> 8));
}

bool hasGoodCrc(ByteView frame)
{
    if (frame.size() < ShortestFrameBytes)
        return false;
    const std::size_t covered = frame.size() - CrcBytes;
    const std::uint16_t crc = modbusCrc(frame.first(covered));
    return frame[covered] == (crc & 0xFF) && frame[covered + 1] == (crc >> 8);
}

std::optional<std::size_t> requestLength(ByteView begin)
{
    if (begin.size() < WritePrefixBytes)
        return std::nullopt;
    if (begin[1] == WriteFileRecord)
        return WritePrefixBytes + begin[2] + CrcBytes;
    if (begin[1] == EncapsulatedInterface && begin[2] == DeviceIdentificationMei)
        return IdentificationRequestBytes;
    return std::nullopt;
}

std::optional<std::uint16_t> recordNumber(ByteView request)
{
    if (request.size() < WritePrefixBytes + RecordHeaderBytes || request[1] != WriteFileRecord)
        return std::nullopt;
    return bigEndian(request, WritePrefixBytes + 3);
}

PanelModel::PanelModel(std::uint8_t address) : ownAddress(address) {}

PanelModel::Hearing PanelModel::hearing(ByteView request) const
{
    if (!hasGoodCrc(request))
        return Hearing::Damaged;
    if (request[0] == BroadcastAddress)
        return Hearing::Broadcast;
    return request[0] == ownAddress ? Hearing::Addressed : Hearing::OtherAddress;
}

Bytes PanelModel::answer(ByteView request, Taking taking)
{
    ++tally.requests;
    firstChange = received.size();
    switch (hearing(request)) {
    case Hearing::Damaged:
        ++tally.badCrcs;
        return {};
    case Hearing::OtherAddress:
        ++tally.otherAddresses;
        return {};
    case Hearing::Broadcast:
        ++tally.broadcasts;
        obey(request, taking);
        return {};
    case Hearing::Addressed:
        break;
    }
    return obey(request, taking);
}

Bytes PanelModel::obey(ByteView request, Taking taking)
{
    Bytes reply;
    if (request[1] == WriteFileRecord)
        reply = writeFileRecord(request, taking);
    else if (request[1] == EncapsulatedInterface)
        reply = readDeviceIdentification(request);
    else
        reply = exceptionReply(request, IllegalFunction);
    if ((reply[1] & ExceptionBit) != 0)
        ++tally.exceptions;
    return reply;
}

Bytes PanelModel::writeFileRecord(ByteView request, Taking taking)
{
    const std::size_t overhead = WritePrefixBytes + CrcBytes;
    if (request.size() < overhead)
        return exceptionReply(request, IllegalDataValue);
    const std::size_t byteCount = request[2];
    const bool goodCount = byteCount >= ShortestByteCount && byteCount <= LongestByteCount;
    if (!goodCount || request.size() != byteCount + overhead)
        return exceptionReply(request, IllegalDataValue);

    const ParsedRecords parsed = parseRecords(request.subspan(WritePrefixBytes, byteCount));
    if (parsed.exceptionCode != 0)
        return exceptionReply(request, parsed.exceptionCode);
    if (taking == Taking::Store) {
        for (const Record &record : parsed.records)
            store(record.number, record.data);
    }
    return {request.begin(), request.end()};
}

Bytes PanelModel::readDeviceIdentification(ByteView request) const
{
    if (request.size() < ShortestFrameBytes + 1 || request[2] != DeviceIdentificationMei)
        return exceptionReply(request, IllegalFunction);
    if (request.size() != IdentificationRequestBytes)
        return exceptionReply(request, IllegalDataValue);
    const std::uint8_t code = request[3];
    const std::size_t object = request[4];
    if (code < BasicStream || code > SingleObject)
        return exceptionReply(request, IllegalDataValue);
    if (code == SingleObject && object >= BasicObjects.size())
        return exceptionReply(request, IllegalDataAddress);

    // A stream that is asked for from an unknown object on restarts at the first one. Only the basic objects
    // exist, so the regular and the extended stream hold no more than they do.
    const std::size_t first = object < BasicObjects.size() ? object : 0;
    const std::size_t end = code <= ExtendedStream ? BasicObjects.size() : first + 1;
    constexpr std::uint8_t NothingFollows = 0;
    Bytes reply{request[0],
                request[1],
                request[2],
                code,
                BasicStreamAndSingleObjects,
                NothingFollows,
                NothingFollows,
                static_cast<std::uint8_t>(end - first)};
    for (std::size_t id = first; id < end; ++id)
        appendObject(reply, id);
    appendModbusCrc(reply);
    return reply;
}

void PanelModel::store(std::uint16_t record, ByteView data)
{
    // Record numbers have 16 bits: 0 right after 65535 goes on with a very long image, any other starts anew.
    if (record == 0 && following != std::uint32_t{LastRecord} + 1)
        received.clear();
    const std::size_t offset = std::size_t{record} * RecordBytes;
    if (received.size() < offset + data.size())
        received.resize(offset + data.size(), ErasedByte);
    std::copy(data.begin(), data.end(), received.begin() + static_cast<std::ptrdiff_t>(offset));
    firstChange = std::min(firstChange, offset);
    following = std::uint32_t{record} + 1;
    ++tally.records;
}

} // namespace simulator
