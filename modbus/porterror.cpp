// SPDX-License-Identifier: MIT
#include "modbus/porterror.h"

bool isLineGone(QSerialPort::SerialPortError error) noexcept
{
    return error != QSerialPort::NoError && error != QSerialPort::TimeoutError &&
           error != QSerialPort::UnsupportedOperationError;
}
