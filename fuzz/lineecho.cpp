// SPDX-License-Identifier: MIT
// The same with a converter that returns what is sent: all of it, less, more, changed, late or not at all.
#include "fuzz/serialtransaction.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    runSerialTransactions({data, size}, true);
    return 0;
}
