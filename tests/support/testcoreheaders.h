// SPDX-License-Identifier: MIT
// What most tests without widgets include, compiled once for all of them. A file includes what it uses all
// the same: it is also compiled without this one, see the preset windows-objects.
#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>
