// SPDX-License-Identifier: MIT
#pragma once

#include <QSerialPort>

/// Whether an open port that reports `error` has lost its line, so that no reply will come. A port that is
/// pulled out is reported as a resource error on Linux, as a permission error on Windows; only a wait that
/// ran out and an operation that the port does not know leave the line as it was.
[[nodiscard]] bool isLineGone(QSerialPort::SerialPortError error) noexcept;
