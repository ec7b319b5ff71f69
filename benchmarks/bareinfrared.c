// SPDX-License-Identifier: MIT
#include "bareinfrared.h"

#include "costlesssub20.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

enum {
    FrameSize = 62,
    BlockSize = 48,
    NumberOffset = 4,
    BlockOffset = 5,
    CrcOffset = 53,
    FillerOffset = 54,
    CarrierHz = 38000,
    Copies = 3
};

static uint8_t crcTable[256];

static void makeCrcTable(void)
{
    for (unsigned value = 0; value < 256; ++value) {
        unsigned crc = value;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80U) != 0 ? (crc << 1U) ^ 0x9BU : crc << 1U;
        crcTable[value] = (uint8_t)crc;
    }
}

static void buildFrame(uint8_t *frame, uint8_t number, const uint8_t *block)
{
    static const uint8_t sync[NumberOffset] = {0x55, 0x55, 0xC3, 0xEA};
    memcpy(frame, sync, sizeof sync);
    frame[NumberOffset] = number;
    memcpy(frame + BlockOffset, block, BlockSize);
    uint8_t crc = 0;
    for (int i = NumberOffset; i < CrcOffset; ++i)
        crc = crcTable[crc ^ frame[i]];
    frame[CrcOffset] = crc;
    memset(frame + FillerOffset, 0xFF, FrameSize - FillerOffset);
}

static long sendBlocks(FILE *image, sub_handle handle)
{
    uint8_t block[BlockSize] = {0};
    uint8_t frame[FrameSize];
    uint8_t number = 0;
    long sent = 0;
    for (; fread(block, 1, BlockSize, image) > 0; ++sent) {
        buildFrame(frame, number, block);
        for (int copy = 0; copy < Copies; ++copy) {
            if (sub_ir_tx(handle, FrameSize, (char *)frame) != 0)
                return -1;
        }
        number = number == UINT8_MAX ? 1 : (uint8_t)(number + 1);
    }
    return sent;
}

long bareInfraredUpload(const char *fileName)
{
    makeCrcTable();
    FILE *const image = fopen(fileName, "rb");
    if (image == NULL)
        return -1;
    const sub_handle handle = sub_open(NULL);
    const long sent = sub_ir_config(handle, CarrierHz, 10, 1, 10) == 0 ? sendBlocks(image, handle) : -1;
    sub_close(handle);
    fclose(image);
    return sent;
}
