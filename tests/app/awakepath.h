// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/adapterchecks.h"
#include "tests/support/modalwatch.h"

#include <QString>
#include <QStringList>

#include <functional>

/// The ways from the start of a run to its end.
inline const QStringList AwakePaths{
    QStringLiteral("success"),        QStringLiteral("failure"),
    QStringLiteral("exception"),      QStringLiteral("stop"),
    QStringLiteral("stop and start"), QStringLiteral("stop, start and stop"),
    QStringLiteral("closed window"),  QStringLiteral("end of the program"),
    QStringLiteral("refused image"),
};

/// The last two of them leave no window behind.
inline bool endsTheWindow(const QString &path)
{
    return path == QStringLiteral("closed window") || path == QStringLiteral("end of the program");
}

/// Goes one of these ways in a window that is made here. `duringRun` is called whenever a run is on its way,
/// be it one that is stopping.
inline void walk(const QString &path, WindowBench &bench, SimulatedAdapter &adapter,
                 const std::function<void()> &duringRun)
{
    constexpr int Records = 9;
    const MessageBoxes boxes;
    adapter.set("RS_TIME", "50");
    if (path == QStringLiteral("failure"))
        adapter.set("FAIL", "sub_rs_xfer:4:3");
    if (path == QStringLiteral("refused image"))
        bench.settings.setValue(QStringLiteral("options/check_image"), QStringLiteral("true"));
    bench.start(ModbusText,
                path == QStringLiteral("refused image") ? "<html>" : QByteArray(Records * 32, 'x'));
    if (path == QStringLiteral("exception"))
        QObject::connect(
            bench.probe().emitter(), &Emitter::load_progress, bench.probe().emitter(), [] { throw 42; },
            Qt::DirectConnection);
    bench.window().show();
    bench.press();
    duringRun();
    if (path.startsWith(QStringLiteral("stop")))
        bench.press();
    if (path.startsWith(QStringLiteral("stop and start")) || path.startsWith(QStringLiteral("stop, start"))) {
        duringRun();
        bench.press();
    }
    if (path == QStringLiteral("stop, start and stop"))
        bench.press();
    if (path == QStringLiteral("stop and start")) {
        QTRY_VERIFY(!bench.probe().stopRequested()); // the second run is on its way
        duringRun();
    }
    if (path == QStringLiteral("closed window"))
        bench.window().close();
    if (endsTheWindow(path))
        bench.close();
    else
        QVERIFY(bench.waitForEnd());
}
