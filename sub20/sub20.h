// SPDX-License-Identifier: MIT
#pragma once

#include "sub20/sub20functions.h"

#include <QMutex>
#include <QSet>
#include <QString>
#include <QtGlobal>

#include <cstdint>
#include <optional>
#include <span>

/// What a call with an open handle came to.
struct [[nodiscard]] Sub20Result
{
    /// What the library answered, or Sub20::NotOpen.
    int value = 0;
    /// The library's words for its error, asked for right behind the call that failed; empty when it
    /// succeeded, when the library has no words for it, and when the handle was not open.
    QString errorText;
};

/// The library of the SUB-20 USB adapter, bound at run time: the program neither needs it to build nor to
/// start. While it is missing, everything answers as if no adapter were there. A handle that is not open,
/// above all one that was closed before, is never passed to the library: such a call answers with NotOpen.
///
/// Threads: what this class holds is guarded by a mutex, so any thread may call it. The library's functions
/// are entered without a lock, since one call takes up to a second: the GUI thread looks for adapters while a
/// loader's thread transmits, and whether the library bears that is its own affair. A handle belongs to one
/// thread at a time; who closes it sees to it that no other call with it is under way. The library has one
/// error variable for all threads: it is read in the statement behind the call that failed, so that no later
/// call changes the explanation; against one that fails in that very instant nothing is guarded.
class Sub20
{
public:
    /// What a call with a handle that is not open answers.
    static constexpr int NotOpen = -1;
    /// The vendor id of the adapter on the USB.
    static constexpr quint16 UsbVendorId = 0x04D8;

    /// The process's one binding, to the vendor's library.
    static Sub20 &instance();

    /// Binds to these functions; no library is looked for.
    explicit Sub20(const Sub20Functions &functions) : api(functions) {}

    /// The first adapter after `first` on the USB, null when there is none; a null `first` starts the search.
    /// Looks for the library again unless it was found before.
    [[nodiscard]] sub_device findDevices(sub_device first);
    /// For the log: the file that the library was loaded from, or why there is none, as the last search found
    /// it. Empty before the first one.
    [[nodiscard]] QString librarySource() const;
    /// Opens an adapter, the first one for a null `device`. Null when none can be opened.
    [[nodiscard]] sub_handle open(sub_device device);
    /// Closes the adapter. Later calls with the same handle, until open() gives it again, are no calls. 0, or
    /// the library's error code: the handle is closed in either case.
    int close(sub_handle handle);

    /// 0, or the library's error code. `carrierHz` is the infrared carrier's frequency.
    Sub20Result irConfig(sub_handle handle, int carrierHz, int first, int second, int third);
    /// Sends a frame by infrared and returns when it is out: 0, or the library's error code.
    Sub20Result irTx(sub_handle handle, std::span<const std::uint8_t> frame);
    /// Times are in µs. 0, or the library's error code, which no caller has a use for.
    int rsTiming(sub_handle handle, int flags, int txSpacing, int replyTimeout, int interByteTimeout);
    /// Sends a request over RS-485 and receives a reply: the number of bytes received, at most what `reply`
    /// holds; 0 for silence, or the library's negative result, at least -INT_MAX, so that it can be negated.
    Sub20Result rsXfer(sub_handle handle, std::span<const std::uint8_t> request,
                       std::span<std::uint8_t> reply);

private:
    Sub20() = default;

    bool load();
    const Sub20Functions *loaded() const;
    const Sub20Functions *functionsFor(sub_handle handle) const;

    mutable QMutex mutex;
    /// Set once, under the mutex; stays as it is from then on.
    std::optional<Sub20Functions> api;
    QSet<sub_handle> openHandles;
    QString source;
};
