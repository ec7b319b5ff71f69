// SPDX-License-Identifier: MIT
// The least that an upload over a serial port can cost: the same requests, pauses and checks, straight on the
// system.
//
//     benchmark-bareclient DEVICE IMAGE
#define _DEFAULT_SOURCE

#include <fcntl.h>
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

enum {
    PanelAddress = 0x50,
    WriteFileRecord = 0x15,
    ReferenceType = 6,
    HeaderSize = 10,
    GroupOverhead = 7,
    CrcSize = 2,
    ChunkSize = 32,
    FrameSize = 256,
    RequestPauseMs = 50,
    FirstBytePauseMs = 2,
    ReplyTimeoutMs = 10000,
    NanosecondsPerMs = 1000000
};

static uint16_t crcTable[256];

static void makeCrcTable(void)
{
    for (unsigned value = 0; value < 256; ++value) {
        unsigned crc = value;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
        crcTable[value] = (uint16_t)crc;
    }
}

static uint16_t crc16(const uint8_t *bytes, size_t size)
{
    unsigned crc = 0xFFFF;
    for (size_t i = 0; i < size; ++i)
        crc = (crc >> 8U) ^ crcTable[(crc ^ bytes[i]) & 0xFFU];
    return (uint16_t)crc;
}

static void pauseMs(long ms)
{
    const struct timespec time = {0, ms * NanosecondsPerMs};
    nanosleep(&time, NULL);
}

static int openPort(const char *device)
{
    const int port = open(device, O_RDWR | O_NOCTTY);
    struct termios settings;
    if (port < 0 || tcgetattr(port, &settings) != 0)
        return -1;
    cfmakeraw(&settings);
    cfsetspeed(&settings, B9600);
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    return tcsetattr(port, TCSANOW, &settings) == 0 ? port : -1;
}

static size_t buildRequest(uint8_t *frame, unsigned record, const uint8_t *data, size_t size)
{
    const uint8_t header[HeaderSize] = {PanelAddress,
                                        WriteFileRecord,
                                        (uint8_t)(size + GroupOverhead),
                                        ReferenceType,
                                        0,
                                        0,
                                        (uint8_t)(record >> 8U),
                                        (uint8_t)record,
                                        (uint8_t)(size >> 9U),
                                        (uint8_t)(size >> 1U)};
    memcpy(frame, header, HeaderSize);
    memcpy(frame + HeaderSize, data, size);
    const size_t length = HeaderSize + size;
    const uint16_t crc = crc16(frame, length);
    frame[length] = (uint8_t)crc;
    frame[length + 1] = (uint8_t)(crc >> 8U);
    return length + CrcSize;
}

/// The number of bytes that answered a request; 0 for silence.
static size_t exchange(int port, const uint8_t *request, size_t size, uint8_t *reply)
{
    pauseMs(RequestPauseMs);
    if (write(port, request, size) != (ssize_t)size)
        return 0;
    struct pollfd readable = {port, POLLIN, 0};
    if (poll(&readable, 1, ReplyTimeoutMs) <= 0 || read(port, reply, 1) != 1)
        return 0;
    pauseMs(FirstBytePauseMs);
    const ssize_t more = read(port, reply + 1, FrameSize - 1);
    return more > 0 ? (size_t)more + 1 : 1;
}

static int isGoodEcho(const uint8_t *reply, size_t size)
{
    if (size <= CrcSize)
        return 0;
    const uint16_t crc = crc16(reply, size - CrcSize);
    return reply[size - 2] == (uint8_t)crc && reply[size - 1] == (uint8_t)(crc >> 8U) &&
           (reply[1] & 0x80U) == 0;
}

int main(int argc, char *argv[])
{
    const int port = argc == 3 ? openPort(argv[1]) : -1;
    FILE *const image = port >= 0 ? fopen(argv[2], "rb") : NULL;
    if (image == NULL) {
        fprintf(stderr, "usage: benchmark-bareclient DEVICE IMAGE\n");
        return EXIT_FAILURE;
    }
    makeCrcTable();
    uint8_t chunk[ChunkSize];
    uint8_t request[FrameSize];
    uint8_t reply[FrameSize];
    size_t count;
    for (unsigned record = 0; (count = fread(chunk, 1, ChunkSize, image)) > 0; ++record) {
        if (count % 2 != 0)
            chunk[count++] = 0;
        const size_t size = buildRequest(request, record, chunk, count);
        if (!isGoodEcho(reply, exchange(port, request, size, reply)))
            return EXIT_FAILURE;
    }
    fclose(image);
    close(port);
    puts("finished");
    return EXIT_SUCCESS;
}
