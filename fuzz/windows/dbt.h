// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstdint>

struct DEV_BROADCAST_HDR
{
    std::uint32_t dbch_size;
    std::uint32_t dbch_devicetype;
    std::uint32_t dbch_reserved;
};

struct DEV_BROADCAST_DEVICEINTERFACE_W
{
    std::uint32_t dbcc_size;
    std::uint32_t dbcc_devicetype;
    std::uint32_t dbcc_reserved;
    GUID dbcc_classguid;
    wchar_t dbcc_name[1];
};

constexpr std::uint32_t DBT_DEVTYP_DEVICEINTERFACE = 5;
