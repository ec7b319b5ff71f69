// SPDX-License-Identifier: MIT
// What most tests with widgets include, compiled once for all of them; beside testcoreheaders.h.
#pragma once

#include "tests/support/testcoreheaders.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
