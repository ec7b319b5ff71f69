// SPDX-License-Identifier: MIT
// A library that another one needs.

extern "C" int neededNumber()
{
    return 1;
}
