// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/bytes.h"
#include "tests/support/emitterlog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/simulatedadapter.h"
#include "tests/support/windowbench.h"

#include <QCursor>
#include <QGuiApplication>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSet>

#include <cerrno>
#include <cstring>

/// What updates through the adapter have in common: the menu's entries, the calls that reach the adapter's
/// library, and what a session leaves behind.

inline const QString InfraRedText = QStringLiteral("InfraRed SUB-20");
inline const QString ModbusText = QStringLiteral("Modbus SUB-20");
/// What the log says when a loader returns a negative result.
inline const QString CanceledText = QStringLiteral("thread canceled with error");
/// Before an error that a loader's emitter reports.
inline const QString ErrorPrefix = QStringLiteral("errorSignal ");

/// Calls as the library logs them, with the bare "h" for every handle: their numbers go on from test to test.
inline QStringList withoutHandles(QStringList calls)
{
    return calls.replaceInStrings(QRegularExpression(QStringLiteral("\\bh\\d+\\b")), QStringLiteral("h"));
}

/// How many handles the library has given out in these calls.
inline qsizetype opens(const QStringList &log)
{
    return log.filter(QRegularExpression(QStringLiteral("^sub_open .* = h"))).size();
}

/// The opens and closes among these calls, as "open" and "close", in their order.
inline QStringList opensAndCloses(const QStringList &log)
{
    QStringList names = log.filter(QRegularExpression(QStringLiteral("^sub_(open|close) ")));
    return names.replaceInStrings(QRegularExpression(QStringLiteral("^sub_(\\w+) .*")),
                                  QStringLiteral("\\1"));
}

/// What is wrong with the use of handles: misuse that the library has noticed, handles closed that were not
/// open, and handles still open at the end. Empty for a good program.
inline QStringList handleFaults(const QStringList &log)
{
    QStringList faults = log.filter(QStringLiteral("misuse "));
    QSet<QString> open;
    for (const QString &call : log) {
        const QString function = call.section(u' ', 0, 0);
        const QString result = call.section(QStringLiteral(" = "), 1);
        if (function == QStringLiteral("sub_open") && result != QStringLiteral("null"))
            open += result;
        else if (function == QStringLiteral("sub_close") && !open.remove(call.section(u' ', 1, 1)))
            faults += QStringLiteral("closed without being open: ") + call;
    }
    for (const QString &handle : open)
        faults += QStringLiteral("left open: ") + handle;
    return faults;
}

/// What a loader's emitter reports while `sent` of `total` blocks or records go out: the range, and every
/// third.
inline QStringList signalsOfSending(int total, int sent)
{
    constexpr int PerProgress = 3;
    QStringList lines{QStringLiteral("load_start 0 %1").arg(total)};
    for (int progress = PerProgress; progress <= sent; progress += PerProgress)
        lines += QStringLiteral("load_progress %1").arg(progress);
    return lines;
}

/// The window as a session leaves it: ready for the next one, the bar full or empty.
inline void verifySessionEnded(const WindowBench &bench, bool isBarFull)
{
    QVERIFY(!bench.probe().sessionOpen());
    QCOMPARE(bench.buttonText(), QStringLiteral("Start Update"));
    QVERIFY(bench.widget<QPushButton>("updBtn")->isEnabled());
    QVERIFY(bench.widget<QPushButton>("loadImg")->isEnabled());
    const auto *const bar = bench.widget<QProgressBar>("progressBar");
    QCOMPARE(bar->value(), isBarFull ? bar->maximum() : 0);
    QCOMPARE(bar->format(), QString());
    QVERIFY(!QGuiApplication::overrideCursor());
}

/// Rows of images that do not open, and what is reported of them.
inline void addImagesThatDoNotOpen()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason");
    const QString missing = QString::fromLocal8Bit(std::strerror(ENOENT));
    QTest::newRow("missing") << QStringLiteral("/nowhere/panel.INC") << missing;
    QTest::newRow("placeholders in its name") << QStringLiteral("/nowhere/%2 %1.INC") << missing;
    QTest::newRow("no name") << QString() << missing;
    QTest::newRow("folder") << QStringLiteral("/") << QString::fromLocal8Bit(std::strerror(EISDIR));
}

/// Runs an update over this connection with the row's image: it ends, and an error says why.
inline void verifyImageDoesNotOpen(WindowBench &bench, const QString &connection)
{
    QFETCH(const QString, name);
    QFETCH(const QString, reason);
    bench.start(connection, unevenBytes(100));
    bench.probe().setImageFileName(name);
    const EmitterLog heard(*bench.probe().emitter());
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    const QString text = QStringLiteral("Can't open image file ") + name + u' ' + reason;
    QCOMPARE(heard.lines(), QStringList{ErrorPrefix + text});
    QCOMPARE(boxes.informativeTexts(), QStringList{text});
    QCOMPARE(bench.probe().future().result(), -1);
    verifySessionEnded(bench, false);
}

/// Rows of both connections through the adapter, with and without handles that come again.
inline void addConnectionsAndHandles()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<QByteArray>("reuse");
    QTest::newRow("infrared") << InfraRedText << QByteArray("0");
    QTest::newRow("infrared, the same handle again") << InfraRedText << QByteArray("1");
    QTest::newRow("Modbus") << ModbusText << QByteArray("0");
    QTest::newRow("Modbus, the same handle again") << ModbusText << QByteArray("1");
}
