// SPDX-License-Identifier: MIT
#include "sub20/librarylocation.h"

QStringList sub20LibraryFiles()
{
    return {QStringLiteral("libsub20.so")};
}
