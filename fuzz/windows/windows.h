// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Of Windows' own header what the monitor of USB devices needs, so that it is compiled elsewhere, too.

using HANDLE = void *;
using HDEVNOTIFY = void *;

struct GUID
{
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];
};

struct MSG
{
    HANDLE hwnd;
    std::uint32_t message;
    std::uintptr_t wParam;
    std::intptr_t lParam;
};

constexpr std::uint32_t WM_DEVICECHANGE = 0x0219;
constexpr std::uint32_t DEVICE_NOTIFY_WINDOW_HANDLE = 0;

inline HDEVNOTIFY RegisterDeviceNotificationW(HANDLE, void *, std::uint32_t)
{
    return nullptr;
}
