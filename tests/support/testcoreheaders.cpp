// SPDX-License-Identifier: MIT
#include "tests/support/testcoreheaders.h"
