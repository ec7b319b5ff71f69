// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/mockdevices.h"
#include "tests/support/windowbench.h"

/// The machine's devices, made before the window and gone after it.
class MachineOfDevices
{
public:
    MockDevices devices;
};

/// A window that works with the machine's own hardware, as the program does, on a machine whose devices are
/// made up. For programs made WITH_DEVICES.
class DeviceBench : private MachineOfDevices, public WindowBench
{
public:
    DeviceBench() : WindowBench(Hardware()) {}

    using MachineOfDevices::devices;
};
