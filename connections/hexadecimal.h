// SPDX-License-Identifier: MIT
#pragma once

/// The base of USB vendor ids and of the panel's address, as they are written.
constexpr int Hexadecimal = 16;
