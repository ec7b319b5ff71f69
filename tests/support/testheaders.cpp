// SPDX-License-Identifier: MIT
// A library needs a source.
#include "tests/support/testheaders.h"
