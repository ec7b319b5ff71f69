// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

/// How a loader on its pool thread talks to the window.
class Emitter : public QObject
{
    Q_OBJECT

signals:
    void load_finish();
    /// The progress range: 0, and the number of blocks or records.
    void load_start(int, int);
    void load_progress(int);
    void stop_for_spinner();
    void start_for_spinner();
    void numbers_changes(int, int);
    void signal_deviceDetouched();
    void errorSignal(QString);
};
