// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/input.h"

/// Runs transactions over one link, one behind the other: what is left over from one of them stands in front
/// of the next. The input says what comes over the line in which portions, after which pauses, while the
/// request is still being written or later, and where the line is lost. The clock is the target's own. With
/// `isEchoed`, the link takes the converter's echo off the line.
///
/// Whatever comes, a transaction has the result and the text that belong to the bytes that were read, has not
/// read beyond the room for the longest frame or behind a complete echo, and takes no longer than its times
/// allow.
void runSerialTransactions(Input input, bool isEchoed);
