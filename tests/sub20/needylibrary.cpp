// SPDX-License-Identifier: MIT
// A library that cannot be loaded without another one.

extern "C" {

int neededNumber();

int needyNumber()
{
    return neededNumber();
}
}
