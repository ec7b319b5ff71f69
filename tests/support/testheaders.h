// SPDX-License-Identifier: MIT
// What most tests include, compiled once for all of them. A file includes what it uses all the same: the builds without
// this one say so.
#pragma once

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QSerialPort>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QtConcurrent>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>
