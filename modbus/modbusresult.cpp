// SPDX-License-Identifier: MIT
#include "modbus/modbusresult.h"

QString failureText(int result)
{
    switch (result) {
    case MB_TX_FAILED:
        return QStringLiteral("The serial port cannot be written or read (result %1)").arg(result);
    case MB_RX_OVERFLOW:
        return QStringLiteral("The panel's reply is too long (result %1)").arg(result);
    case MB_TIMEOUT:
        return QStringLiteral("The panel does not reply (result %1)").arg(result);
    default:
        return QStringLiteral("The update failed (result %1)").arg(result);
    }
}
