// SPDX-License-Identifier: MIT
#include "simulator/simulatedsub20.h"

#include "simulator/sub20bus.h"

using simulator::Sub20Bus;

extern "C" {

int sub_errno = 0;

sub_device sub_find_devices(sub_device first)
{
    return Sub20Bus::instance(sub_errno).findDevices(first);
}

sub_handle sub_open(sub_device device)
{
    return Sub20Bus::instance(sub_errno).open(device);
}

int sub_close(sub_handle handle)
{
    return Sub20Bus::instance(sub_errno).close(handle);
}

char *sub_strerror(int code)
{
    return Sub20Bus::instance(sub_errno).errorText(code);
}

int sub_ir_config(sub_handle handle, int carrierHz, int first, int second, int third)
{
    return Sub20Bus::instance(sub_errno).irConfig(handle, {carrierHz, first, second, third});
}

int sub_ir_tx(sub_handle handle, int size, char *data)
{
    return Sub20Bus::instance(sub_errno).irTx(handle, size, data);
}

int sub_rs_timing(sub_handle handle, int flags, int txSpacingUs, int replyTimeoutUs, int interByteTimeoutUs)
{
    const simulator::RsTiming timing{flags, txSpacingUs, replyTimeoutUs, interByteTimeoutUs};
    return Sub20Bus::instance(sub_errno).rsTiming(handle, timing);
}

int sub_rs_xfer(sub_handle handle, char *tx, int txSize, char *rx, int rxSize)
{
    return Sub20Bus::instance(sub_errno).rsXfer(handle, tx, txSize, rx, rxSize);
}
}
