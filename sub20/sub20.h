// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QSet>
#include <QString>

/// The C types of the SUB-20 adapter's library.
using sub_device = void *;
using sub_handle = void *;

/// The library of the SUB-20 USB adapter, bound at run time: the program neither needs it to build nor to
/// start. While it is missing, everything answers as if no adapter were there.
///
/// May be called from any thread. A handle that is not open, above all one that was closed before, is never
/// passed to the library: such a call answers with NotOpen.
class Sub20
{
public:
    /// What a call with a handle that is not open answers.
    static constexpr int NotOpen = -1;
    /// The vendor id of the adapter on the USB.
    static constexpr quint16 UsbVendorId = 0x04D8;

    /// The process's one binding.
    static Sub20 &instance();

    /// The first adapter after `first` on the USB, null when there is none; a null `first` starts the search.
    /// Looks for the library again unless it was found before.
    sub_device findDevices(sub_device first);
    /// Opens an adapter, the first one for a null `device`. Null when none can be opened.
    sub_handle open(sub_device device);
    /// Closes the adapter. Later calls with the same handle, until open() gives it again, are no calls.
    int close(sub_handle handle);

    /// 0, or an error code for errorText(). `carrierHz` is the infrared carrier's frequency.
    int irConfig(sub_handle handle, int carrierHz, int first, int second, int third);
    /// Sends `size` bytes by infrared and returns when they are out: 0, or an error code for errorText().
    int irTx(sub_handle handle, int size, char *data);
    /// Times are in µs. 0, or an error code for errorText().
    int rsTiming(sub_handle handle, int flags, int txSpacing, int replyTimeout, int interByteTimeout);
    /// Sends `txSize` bytes over RS-485 and receives up to `rxSize`. The number received, 0 for silence, or a
    /// negative error whose code lastError() gives.
    int rsXfer(sub_handle handle, char *tx, int txSize, char *rx, int rxSize);

    /// The library's last error code.
    int lastError() const;
    /// The library's words for an error code; empty when it has none.
    QString errorText(int code) const;

private:
    /// The library's functions and its error variable.
    struct Api
    {
        sub_device (*findDevices)(sub_device) = nullptr;
        sub_handle (*open)(sub_device) = nullptr;
        int (*close)(sub_handle) = nullptr;
        char *(*errorText)(int) = nullptr;
        int (*irConfig)(sub_handle, int, int, int, int) = nullptr;
        int (*irTx)(sub_handle, int, char *) = nullptr;
        int (*rsTiming)(sub_handle, int, int, int, int) = nullptr;
        int (*rsXfer)(sub_handle, char *, int, char *, int) = nullptr;
        int *lastError = nullptr;
    };

    Sub20() = default;

    bool load();
    QString bind(const QString &file);
    bool isLoaded() const;
    bool isOpen(sub_handle handle) const;

    mutable QMutex mutex;
    /// Written once, under the mutex, before `loaded` becomes true.
    Api api;
    bool loaded = false;
    QSet<sub_handle> openHandles;
};
