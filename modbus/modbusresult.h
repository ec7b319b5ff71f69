// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>

/// How a transaction ended. Any other positive value is the negation of a SUB-20 library error.
enum ModbusResult : std::int32_t {
    MB_OK = 0,                ///< reply complete, CRC good, no exception; or a broadcast was sent
    MB_TX_FAILED = 1,         ///< the serial port took fewer bytes than the frame holds, or nothing was sent
    MB_RX_OVERFLOW = 27,      ///< more than 255 reply bytes on the serial port
    MB_FRAME_INCOMPLETE = 32, ///< a reply of 2 bytes or fewer
    MB_EXCEPTION = 40,        ///< the reply's function code has bit 7 set
    MB_CRC_ERROR = 104,       ///< the reply's CRC does not match
    MB_TIMEOUT = 138,         ///< no reply
    /// The reply had to be the request's echo, and is not. Beyond the numbers that the panel's side and the
    /// adapter are known to use; an error of the adapter's library is passed on whatever its number.
    MB_NO_ECHO = 0x10000,
    /// The converter had to return the request in front of the reply, and did not: not all of it in time, or
    /// not as it was sent. It says nothing about the panel.
    MB_LINE_ECHO_WRONG = 0x10001,
};

/// Words for the results that come without an error text of their own.
[[nodiscard]] QString failureText(int result);
