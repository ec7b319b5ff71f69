/* SPDX-License-Identifier: MIT */
#pragma once

/* An adapter library whose adapter is always there and whose transfers take no time at all: what an upload
   then takes is the uploader's own. */

#ifdef __cplusplus
extern "C" {
#endif

typedef void *sub_device;
typedef void *sub_handle;

extern int sub_errno;

sub_device sub_find_devices(sub_device first);
sub_handle sub_open(sub_device device);
int sub_close(sub_handle handle);
char *sub_strerror(int code);
int sub_ir_config(sub_handle handle, int carrierHz, int first, int second, int third);
int sub_ir_tx(sub_handle handle, int size, char *data);
int sub_rs_timing(sub_handle handle, int flags, int txSpacingUs, int replyTimeoutUs, int interByteTimeoutUs);
int sub_rs_xfer(sub_handle handle, char *tx, int txSize, char *rx, int rxSize);

#ifdef __cplusplus
}
#endif
