// SPDX-License-Identifier: MIT
#include "sub20/librarylocation.h"

#include <QCoreApplication>
#include <QDir>

#include <windows.h>

#include <array>

namespace {

QString systemFolder()
{
    std::array<wchar_t, MAX_PATH> path{};
    const UINT length = GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size()));
    return length < path.size() ? QString::fromWCharArray(path.data(), static_cast<qsizetype>(length))
                                : QString();
}

} // namespace

QStringList sub20LibraryFiles()
{
    const QString name = QStringLiteral("sub20.dll");
    QStringList files{QDir(QCoreApplication::applicationDirPath()).filePath(name)};
    if (const QString folder = systemFolder(); !folder.isEmpty())
        files += QDir(folder).filePath(name);
    return files;
}

QString loadedFile(QFunctionPointer address)
{
    HMODULE module = nullptr;
    std::array<wchar_t, MAX_PATH> path{};
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(address), &module))
        return {};
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    return length < path.size() ? QString::fromWCharArray(path.data(), static_cast<qsizetype>(length))
                                : QString();
}
