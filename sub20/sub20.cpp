// SPDX-License-Identifier: MIT
#include "sub20/sub20.h"

#include "sub20/librarylocation.h"
#include "sub20/sub20library.h"

#include <QDebug>
#include <QMutexLocker>
#include <QStringList>

#include <algorithm>
#include <limits>

namespace {

/// Any int can be negated but the smallest one.
constexpr int SmallestResult = -std::numeric_limits<int>::max();

/// The library's interface knows no const; it is taken to leave alone what it sends.
char *libraryBytes(std::span<const std::uint8_t> bytes)
{
    return const_cast<char *>(reinterpret_cast<const char *>(bytes.data()));
}

QString textOf(const Sub20Functions &library, int error)
{
    return QString::fromLocal8Bit(library.errorText(error));
}

/// The result of a function that answers 0 or an error code.
Sub20Result resultOf(const Sub20Functions &library, int error)
{
    return {error, error != 0 ? textOf(library, error) : QString()};
}

} // namespace

Sub20 &Sub20::instance()
{
    static Sub20 binding;
    return binding;
}

bool Sub20::load()
{
    const QMutexLocker lock(&mutex);
    if (api)
        return true;
    QStringList problems;
    for (const QString &file : sub20LibraryFiles()) {
        const Sub20Library library = loadSub20Library(file);
        if (library.functions) {
            api = library.functions;
            const QString loaded = loadedFile(reinterpret_cast<QFunctionPointer>(api->findDevices));
            source = loaded.isEmpty() ? file : loaded;
            return true;
        }
        problems += library.problem;
    }
    source = QStringLiteral("none: ") + problems.join(QStringLiteral("; "));
    qDebug().noquote() << "SUB-20 library not used:" << problems.join(QStringLiteral("; "));
    return false;
}

QString Sub20::librarySource() const
{
    const QMutexLocker lock(&mutex);
    return source;
}

/// The library's functions; null while there is no library.
const Sub20Functions *Sub20::loaded() const
{
    const QMutexLocker lock(&mutex);
    return api ? &*api : nullptr;
}

/// The library's functions for a call with this handle; null unless it is open.
const Sub20Functions *Sub20::functionsFor(sub_handle handle) const
{
    const QMutexLocker lock(&mutex);
    return openHandles.contains(handle) ? &*api : nullptr;
}

sub_device Sub20::findDevices(sub_device first)
{
    return load() ? loaded()->findDevices(first) : nullptr;
}

sub_handle Sub20::open(sub_device device)
{
    const Sub20Functions *const library = loaded();
    const sub_handle handle = library ? library->open(device) : nullptr;
    if (handle) {
        const QMutexLocker lock(&mutex);
        openHandles.insert(handle);
    }
    return handle;
}

int Sub20::close(sub_handle handle)
{
    {
        const QMutexLocker lock(&mutex);
        if (!openHandles.remove(handle))
            return NotOpen;
    }
    return loaded()->close(handle);
}

Sub20Result Sub20::irConfig(sub_handle handle, int carrierHz, int first, int second, int third)
{
    const Sub20Functions *const library = functionsFor(handle);
    if (!library)
        return {NotOpen, {}};
    return resultOf(*library, library->irConfig(handle, carrierHz, first, second, third));
}

Sub20Result Sub20::irTx(sub_handle handle, std::span<const std::uint8_t> frame)
{
    const Sub20Functions *const library = functionsFor(handle);
    if (!library)
        return {NotOpen, {}};
    return resultOf(*library, library->irTx(handle, static_cast<int>(frame.size()), libraryBytes(frame)));
}

int Sub20::rsTiming(sub_handle handle, int flags, int txSpacing, int replyTimeout, int interByteTimeout)
{
    const Sub20Functions *const library = functionsFor(handle);
    return library ? library->rsTiming(handle, flags, txSpacing, replyTimeout, interByteTimeout) : NotOpen;
}

Sub20Result Sub20::rsXfer(sub_handle handle, std::span<const std::uint8_t> request,
                          std::span<std::uint8_t> reply)
{
    const Sub20Functions *const library = functionsFor(handle);
    if (!library)
        return {NotOpen, {}};
    const auto room = static_cast<int>(reply.size());
    const int count = library->rsXfer(handle, libraryBytes(request), static_cast<int>(request.size()),
                                      reinterpret_cast<char *>(reply.data()), room);
    const int error = *library->lastError;
    if (count < 0)
        return {std::max(count, SmallestResult), textOf(*library, error)};
    return {std::min(count, room), {}};
}
