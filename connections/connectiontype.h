// SPDX-License-Identifier: MIT
#pragma once

/// How the PC reaches the panel; stored in the settings and carried by each menu entry as its property
/// "type".
enum ConnectionType : int {
    ConnectionNone = 0,
    ConnectionInfraRed = 1,
    ConnectionModbusSub20 = 2,
    ConnectionComPort = 3,
};
