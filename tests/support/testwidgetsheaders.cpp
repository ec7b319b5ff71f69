// SPDX-License-Identifier: MIT
#include "tests/support/testwidgetsheaders.h"
