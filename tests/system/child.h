// SPDX-License-Identifier: MIT
#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

/// Starts a process that ends with this one, however this one ends. Failing to start fails the running test.
void startChild(QProcess &process, const QProcessEnvironment &environment, const QString &program,
                const QStringList &arguments = {});

/// Runs a program to its end and returns what it printed. A program that fails prints nothing.
QByteArray runTool(const QProcessEnvironment &environment, const QString &program,
                   const QStringList &arguments);

/// The next line that the process prints, without its end; waits for it.
QString readLine(QProcess &process);

/// Asks the process to end, and ends it when it does not.
void endChild(QProcess &process);
