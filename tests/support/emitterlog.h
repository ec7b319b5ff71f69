// SPDX-License-Identifier: MIT
#pragma once

#include "update/emitter.h"

#include <QObject>
#include <QString>
#include <QStringList>

/// What an emitter has reported so far, a line a signal, in the order in which the window's thread heard it.
class EmitterLog : public QObject
{
public:
    explicit EmitterLog(Emitter &emitter)
    {
        connect(&emitter, &Emitter::load_finish, this, [this] { heard += QStringLiteral("load_finish"); });
        connect(&emitter, &Emitter::load_start, this,
                [this](int from, int to) { heard += QStringLiteral("load_start %1 %2").arg(from).arg(to); });
        connect(&emitter, &Emitter::load_progress, this,
                [this](int value) { heard += QStringLiteral("load_progress %1").arg(value); });
        connect(&emitter, &Emitter::errorSignal, this,
                [this](const QString &text) { heard += QStringLiteral("errorSignal ") + text; });
    }

    QStringList lines() const { return heard; }

private:
    QStringList heard;
};
