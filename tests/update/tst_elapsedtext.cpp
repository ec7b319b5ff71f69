// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "update/elapsedtext.h"

#include <limits>

/// The text of the progress bar.
class ElapsedTextTest : public TestCase
{
    Q_OBJECT

private slots:
    void text_data();
    void text();
};

void ElapsedTextTest::text_data()
{
    QTest::addColumn<quint32>("ms");
    QTest::addColumn<QString>("time");

    QTest::newRow("start") << 0U << QStringLiteral("00:00");
    QTest::newRow("just below a second") << 999U << QStringLiteral("00:00");
    QTest::newRow("a second") << 1000U << QStringLiteral("00:01");
    QTest::newRow("just below a minute") << 59999U << QStringLiteral("00:59");
    QTest::newRow("a minute") << 60000U << QStringLiteral("01:00");
    QTest::newRow("two-digit minutes") << 754000U << QStringLiteral("12:34");
    QTest::newRow("just below an hour") << 3599999U << QStringLiteral("59:59");
    QTest::newRow("an hour starts again") << 3600000U << QStringLiteral("00:00");
    QTest::newRow("61 minutes 5 seconds") << 3665000U << QStringLiteral("01:05");
    QTest::newRow("a day") << 86400000U << QStringLiteral("00:00");
    // 4294967295 ms: 49 days, 17 hours, 2 minutes, 47 seconds.
    QTest::newRow("largest") << std::numeric_limits<quint32>::max() << QStringLiteral("02:47");
}

void ElapsedTextTest::text()
{
    QFETCH(quint32, ms);
    QFETCH(QString, time);
    QCOMPARE(elapsedText(ms), QStringLiteral("Elapsed time: ") + time);
}

QTEST_GUILESS_MAIN(ElapsedTextTest)
#include "tst_elapsedtext.moc"
