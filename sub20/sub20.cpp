// SPDX-License-Identifier: MIT
#include "sub20/sub20.h"

#include "sub20/library.h"

#include <QDebug>
#include <QLibrary>
#include <QStringList>

namespace {

/// Resolves one symbol after the other and remembers the first one that is missing.
class Resolver
{
public:
    explicit Resolver(const QString &file) : library(file) { library.load(); }

    template<typename Pointer> void resolve(Pointer &pointer, const char *symbol)
    {
        if (!library.isLoaded())
            return;
        pointer = reinterpret_cast<Pointer>(library.resolve(symbol));
        if (!pointer && missing.isEmpty())
            missing = QString::fromLatin1(symbol);
    }

    /// Why the library cannot be used; empty when it can. A library of no use is let go, so that a better
    /// file in its place is found the next time.
    QString finish()
    {
        if (!library.isLoaded())
            return library.errorString();
        if (missing.isEmpty())
            return {};
        library.unload();
        return QStringLiteral("%1: missing symbol %2").arg(library.fileName(), missing);
    }

private:
    QLibrary library;
    QString missing;
};

} // namespace

Sub20 &Sub20::instance()
{
    static Sub20 binding;
    return binding;
}

bool Sub20::load()
{
    const QMutexLocker lock(&mutex);
    QStringList problems;
    for (const QString &file : sub20LibraryFiles()) {
        if (loaded)
            break;
        const QString problem = bind(file);
        loaded = problem.isEmpty();
        problems += problem;
    }
    if (!loaded)
        qDebug().noquote() << "SUB-20 library not used:" << problems.join(QStringLiteral("; "));
    return loaded;
}

QString Sub20::bind(const QString &file)
{
    Resolver library(file);
    library.resolve(api.findDevices, "sub_find_devices");
    library.resolve(api.open, "sub_open");
    library.resolve(api.close, "sub_close");
    library.resolve(api.errorText, "sub_strerror");
    library.resolve(api.irConfig, "sub_ir_config");
    library.resolve(api.irTx, "sub_ir_tx");
    library.resolve(api.rsTiming, "sub_rs_timing");
    library.resolve(api.rsXfer, "sub_rs_xfer");
    library.resolve(api.lastError, "sub_errno");
    return library.finish();
}

bool Sub20::isLoaded() const
{
    const QMutexLocker lock(&mutex);
    return loaded;
}

bool Sub20::isOpen(sub_handle handle) const
{
    const QMutexLocker lock(&mutex);
    return openHandles.contains(handle);
}

sub_device Sub20::findDevices(sub_device first)
{
    return load() ? api.findDevices(first) : nullptr;
}

sub_handle Sub20::open(sub_device device)
{
    if (!isLoaded())
        return nullptr;
    const sub_handle handle = api.open(device);
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
    return api.close(handle);
}

int Sub20::irConfig(sub_handle handle, int carrierHz, int first, int second, int third)
{
    return isOpen(handle) ? api.irConfig(handle, carrierHz, first, second, third) : NotOpen;
}

int Sub20::irTx(sub_handle handle, int size, char *data)
{
    return isOpen(handle) ? api.irTx(handle, size, data) : NotOpen;
}

int Sub20::rsTiming(sub_handle handle, int flags, int txSpacing, int replyTimeout, int interByteTimeout)
{
    return isOpen(handle) ? api.rsTiming(handle, flags, txSpacing, replyTimeout, interByteTimeout) : NotOpen;
}

int Sub20::rsXfer(sub_handle handle, char *tx, int txSize, char *rx, int rxSize)
{
    return isOpen(handle) ? api.rsXfer(handle, tx, txSize, rx, rxSize) : NotOpen;
}

int Sub20::lastError() const
{
    return isLoaded() ? *api.lastError : NotOpen;
}

QString Sub20::errorText(int code) const
{
    return isLoaded() ? QString::fromLocal8Bit(api.errorText(code)) : QString();
}
