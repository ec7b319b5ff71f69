// SPDX-License-Identifier: MIT
#include "sub20/trustedload.h"

#include <QDir>

#include <windows.h>

#include <string>

namespace {

/// The library's own folder, the program's and the system's; neither the current directory nor PATH.
constexpr DWORD TrustedPlaces =
    LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

/// Keeps Windows from showing a box of its own about a file that is no library.
class NoSystemBox
{
public:
    NoSystemBox() { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before); }
    ~NoSystemBox() { SetThreadErrorMode(before, nullptr); }
    NoSystemBox(const NoSystemBox &) = delete;
    NoSystemBox &operator=(const NoSystemBox &) = delete;

private:
    DWORD before = 0;
};

} // namespace

TrustedLoad::TrustedLoad(const QString &file)
{
    const NoSystemBox quiet;
    // What the library loads later on, by a bare name, is not found in the current directory either.
    SetDllDirectoryW(L"");
    const std::wstring path = QDir::toNativeSeparators(file).toStdWString();
    module = LoadLibraryExW(path.c_str(), nullptr, TrustedPlaces);
    if (!module)
        text = QStringLiteral("%1: %2").arg(file, qt_error_string(static_cast<int>(GetLastError())));
}

TrustedLoad::~TrustedLoad()
{
    if (module)
        FreeLibrary(static_cast<HMODULE>(module));
}
