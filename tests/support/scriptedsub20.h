// SPDX-License-Identifier: MIT
#pragma once

#include "sub20/sub20functions.h"

#include <QByteArray>
#include <QMap>
#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <algorithm>
#include <array>
#include <functional>

/// An adapter's library made of functions in this process: it answers what the test wants and keeps a line
/// for each call, such as "sub_ir_tx h1 3 5500EA". For `Sub20 adapter(ScriptedSub20::functions())`, or
/// whatever else takes the table. There is one at a time, and it outlives the calls; any thread may call.
class ScriptedSub20
{
public:
    ScriptedSub20()
    {
        Q_ASSERT(!current);
        current = this;
        errorVariable = 0;
    }
    ~ScriptedSub20() { current = nullptr; }
    ScriptedSub20(const ScriptedSub20 &) = delete;
    ScriptedSub20 &operator=(const ScriptedSub20 &) = delete;

    static Sub20Functions functions();

    /// Set before the calls: how many adapters there are, whether a handle comes again once it is closed,
    /// whether errors have words, and the reply that sub_rs_xfer gives.
    int adapters = 1;
    bool handlesReturn = false;
    bool hasErrorTexts = true;
    QByteArray reply;
    /// Makes the reply from the request, when it is set.
    std::function<QByteArray(const QByteArray &request)> replyTo;
    /// Runs within each call, on its thread, with the call's line.
    std::function<void(const QString &call)> onCall;

    /// From now on the function answers this, and leaves `error` in the error variable.
    void answer(const QString &function, int result, int error = 0)
    {
        const QMutexLocker lock(&mutex);
        answers[function] = {result, error};
    }
    /// The calls so far, of one function or of all.
    QStringList calls(const QString &function = {}) const
    {
        const QMutexLocker lock(&mutex);
        return function.isEmpty() ? lines : lines.filter(function);
    }
    static int errorNumber() { return errorVariable; }

private:
    struct Answer
    {
        int result = 0;
        int error = 0;
    };
    static constexpr int MostAdapters = 4;
    static constexpr int MostHandles = 1000;

    void note(const QString &line)
    {
        {
            const QMutexLocker lock(&mutex);
            lines += line;
        }
        if (onCall)
            onCall(line);
    }
    /// Notes a call and finds its answer.
    int answered(const QString &function, const QString &arguments, int usual = 0)
    {
        note(function + u' ' + arguments);
        const QMutexLocker lock(&mutex);
        if (!answers.contains(function))
            return usual;
        errorVariable = answers[function].error;
        return answers[function].result;
    }
    QString nameOf(sub_handle handle) const
    {
        return handle ? u'h' + QString::number(static_cast<const char *>(handle) - handles.data())
                      : QStringLiteral("null");
    }
    QString deviceName(sub_device device) const
    {
        return device ? u'd' + QString::number(static_cast<const char *>(device) - devices.data())
                      : QStringLiteral("null");
    }
    sub_device findDevices(sub_device first)
    {
        note(QStringLiteral("sub_find_devices ") + deviceName(first));
        const qsizetype next = first ? static_cast<const char *>(first) - devices.data() + 1 : 1;
        return next <= adapters ? devices.data() + next : nullptr;
    }
    sub_handle open(sub_device device)
    {
        note(QStringLiteral("sub_open ") + deviceName(device));
        if (adapters == 0)
            return nullptr;
        const QMutexLocker lock(&mutex);
        if (!handlesReturn || opened == 0)
            opened = opened % (MostHandles - 1) + 1;
        return handles.data() + opened;
    }
    char *errorText(int code)
    {
        note(QStringLiteral("sub_strerror %1").arg(code));
        thread_local QByteArray text;
        text = "scripted error " + QByteArray::number(code);
        return hasErrorTexts ? text.data() : nullptr;
    }
    int rsXfer(sub_handle handle, const QByteArray &request, char *rx, int rxSize)
    {
        const QByteArray bytes = replyTo ? replyTo(request) : reply;
        const auto count = static_cast<int>(std::min<qsizetype>(bytes.size(), rxSize));
        std::copy_n(bytes.constData(), count, rx);
        return answered(QStringLiteral("sub_rs_xfer"),
                        QStringLiteral("%1 %2 %3")
                            .arg(nameOf(handle), QString::fromLatin1(request.toHex().toUpper()))
                            .arg(rxSize),
                        count);
    }

    static inline ScriptedSub20 *current = nullptr;
    static inline int errorVariable = 0;

    mutable QMutex mutex;
    QStringList lines;
    QMap<QString, Answer> answers;
    int opened = 0;
    std::array<char, MostAdapters + 1> devices{};
    std::array<char, MostHandles> handles{};
};

inline Sub20Functions ScriptedSub20::functions()
{
    Sub20Functions table;
    table.findDevices = [](sub_device first) { return current->findDevices(first); };
    table.open = [](sub_device device) { return current->open(device); };
    table.close = [](sub_handle handle) {
        return current->answered(QStringLiteral("sub_close"), current->nameOf(handle));
    };
    table.errorText = [](int code) { return current->errorText(code); };
    table.irConfig = [](sub_handle handle, int carrierHz, int first, int second, int third) {
        return current->answered(QStringLiteral("sub_ir_config"), QStringLiteral("%1 %2 %3 %4 %5")
                                                                      .arg(current->nameOf(handle))
                                                                      .arg(carrierHz)
                                                                      .arg(first)
                                                                      .arg(second)
                                                                      .arg(third));
    };
    table.irTx = [](sub_handle handle, int size, char *data) {
        const QByteArray hex = QByteArray(data, size).toHex().toUpper();
        return current->answered(
            QStringLiteral("sub_ir_tx"),
            QStringLiteral("%1 %2 %3").arg(current->nameOf(handle)).arg(size).arg(QString::fromLatin1(hex)));
    };
    table.rsTiming = [](sub_handle handle, int flags, int spacing, int replyTimeout, int byteTimeout) {
        return current->answered(QStringLiteral("sub_rs_timing"), QStringLiteral("%1 %2 %3 %4 %5")
                                                                      .arg(current->nameOf(handle))
                                                                      .arg(flags)
                                                                      .arg(spacing)
                                                                      .arg(replyTimeout)
                                                                      .arg(byteTimeout));
    };
    table.rsXfer = [](sub_handle handle, char *tx, int txSize, char *rx, int rxSize) {
        return current->rsXfer(handle, QByteArray(tx, txSize), rx, rxSize);
    };
    table.lastError = &errorVariable;
    return table;
}
