// SPDX-License-Identifier: MIT
#pragma once

/// What both loaders return for success, and for a failure or a stop. Any other value is an adapter's error
/// code or a ModbusResult.
enum LoaderResult : int { LoaderDone = 0, LoaderFailed = -1 };
