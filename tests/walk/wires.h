// SPDX-License-Identifier: MIT
#pragma once

#include "sub20/sub20functions.h"
#include "tests/walk/model.h"

#include <QByteArray>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QWaitCondition>

#include <array>
#include <functional>
#include <memory>
#include <optional>

class PanelLine;

/// What hangs on the program: an adapter's library made of functions, and panels behind serial ports. Each
/// frame that the program sends is held on the line until the walk lets it go; so the walk, and not the
/// machine, says what happens while it is there. One at a time; any thread may call.
class Wires
{
public:
    Wires();
    ~Wires();
    Wires(const Wires &) = delete;
    Wires &operator=(const Wires &) = delete;

    static Sub20Functions functions();

    void setAdapter(bool isThere);
    /// A panel answers at the serial port of this name, until the port is gone.
    void addPanel(const QString &portName);
    void removePanel(const QString &portName);

    /// The held frame goes with this outcome, and `more` after it that need not be held.
    void letGo(Outcome outcome, int more = 0);
    /// From now on every frame is held again.
    void holdAll();
    bool isHeld() const;
    /// What has gone over the wires since the last call of forget(), a line each.
    QStringList calls() const;
    void forget();

    /// For a panel's line: the frame is on it, and comes to this. Nothing when the line went meanwhile.
    std::optional<Outcome> serialFrame(const QString &line, const std::function<bool()> &isGone);
    /// Has whoever waits for a frame's outcome look whether the line has gone.
    void wake();

private:
    static Wires &now() { return *current; }
    void note(const QString &line);
    Outcome hold(const QString &line);
    std::optional<Outcome> holdUnless(const QString &line, const std::function<bool()> &isGone);
    int irAnswer(const QString &line);
    int rsAnswer(const QString &line, const QByteArray &request, char *rx);
    QString nameOf(sub_handle handle) const;
    sub_handle open();
    int close(sub_handle handle);

    static inline Wires *current = nullptr;
    static inline int errorVariable = 0;

    mutable QMutex mutex;
    QWaitCondition changed;
    QStringList lines;
    bool adapterIsThere = false;
    bool held = false;
    std::optional<Outcome> released;
    int permits = 0;
    int handles = 0;
    std::array<char, 8> places{};
    QMap<QString, std::shared_ptr<PanelLine>> panels;
};

/// The bytes that come back for a request; none for silence.
QByteArray replyTo(const QByteArray &request, Outcome outcome);
