// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// The repository's files, and what the program's sources say without being run.

/// The text of a file of the repository; empty when it cannot be read.
QString fileText(const QString &path);

/// The C++ files of the program's folders, comments and preprocessor lines left out: one text a file.
QStringList programSources();

/// The string literals of C++ code without comments, adjacent ones joined, escapes resolved.
QStringList literals(const QString &code);

/// The texts of the window's form.
QStringList formTexts();

/// What error boxes can say, as written in `sources`: with %1, %2 for what is put in. A call whose text
/// cannot be found out is given as "?" and its argument.
QStringList errorTexts(const QStringList &sources);

/// What is written to the log, as in `sources`: of each call that has a text of its own, the first one.
QStringList logTexts(const QStringList &sources);

/// The value of `constexpr TYPE NAME = VALUE;` in a file of the repository; -1 when it has no such constant.
int constantIn(const QString &path, const QString &name);
