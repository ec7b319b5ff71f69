// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QRegularExpression>
#include <QTest>

/// What every test class starts from: a connection that does not match its signal or slot fails the test.
class TestCase : public QObject
{
    Q_OBJECT

private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^QObject::"))); }
};
