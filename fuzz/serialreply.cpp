// SPDX-License-Identifier: MIT
// A reply over the serial port, with its portions and pauses, through whole transactions.
#include "fuzz/serialtransaction.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    runSerialTransactions({data, size}, false);
    return 0;
}
