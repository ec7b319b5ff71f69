// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/delivery.h"
#include "simulator/misbehaviour.h"

namespace simulator {

/// What a converter makes of a request and of the reply to it, which may be empty: it returns what is sent,
/// with the faults that `misbehaviour` has for the echo when `faulty`.
EchoedReply lineEcho(ByteView request, const Bytes &reply, const Misbehaviour &misbehaviour, bool faulty);

} // namespace simulator
