// SPDX-License-Identifier: MIT
#include "costlesssub20.h"

#include <stddef.h>

int sub_errno = 0;

static int adapter = 0;

sub_device sub_find_devices(sub_device first)
{
    return first == NULL ? &adapter : NULL;
}

sub_handle sub_open(sub_device device)
{
    (void)device;
    return &adapter;
}

int sub_close(sub_handle handle)
{
    (void)handle;
    return 0;
}

char *sub_strerror(int code)
{
    (void)code;
    return NULL;
}

int sub_ir_config(sub_handle handle, int carrierHz, int first, int second, int third)
{
    (void)handle, (void)carrierHz, (void)first, (void)second, (void)third;
    return 0;
}

int sub_ir_tx(sub_handle handle, int size, char *data)
{
    (void)handle, (void)size, (void)data;
    return 0;
}

int sub_rs_timing(sub_handle handle, int flags, int txSpacingUs, int replyTimeoutUs, int interByteTimeoutUs)
{
    (void)handle, (void)flags, (void)txSpacingUs, (void)replyTimeoutUs, (void)interByteTimeoutUs;
    return 0;
}

int sub_rs_xfer(sub_handle handle, char *tx, int txSize, char *rx, int rxSize)
{
    (void)handle, (void)tx, (void)txSize, (void)rx, (void)rxSize;
    return 0;
}
