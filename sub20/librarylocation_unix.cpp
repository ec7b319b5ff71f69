// SPDX-License-Identifier: MIT
#include "sub20/librarylocation.h"

#include <QFile>

#include <dlfcn.h>

QStringList sub20LibraryFiles()
{
    return {QStringLiteral("libsub20.so")};
}

QString loadedFile(QFunctionPointer address)
{
    Dl_info info{};
    const bool isKnown = ::dladdr(reinterpret_cast<void *>(address), &info) != 0 && info.dli_fname;
    return isKnown ? QFile::decodeName(info.dli_fname) : QString();
}
