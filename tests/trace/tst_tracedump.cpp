// SPDX-License-Identifier: MIT
#include "tests/modbus/seriallink.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"
#include "tests/trace/tracehandler.h"

/// The frames of an exchange with a panel, on their way into the trace.
class TraceDumpTest : public TestCase
{
    Q_OBJECT

private slots:
    void framesReachTheTraceWhenTheFlagIsSet();
};

void TraceDumpTest::framesReachTheTraceWhenTheFlagIsSet()
{
    const QString frame = QStringLiteral("50|15|27 06 00 00 00 03 00 10 00 01 02 03 04 05 \n"
                                         "    06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 \n"
                                         "    16 17 18 19 1A 1B 1C 1D 1E 1F ");
    const PanelProcess panel;
    SerialLink link(panel.path());
    const TraceOn trace;
    QCOMPARE(link.writeChunk(80, 3), 0);
    QTRY_COMPARE(shownText(), QStringLiteral("44 bytes written..."));

    link.modbus.setTraceFlag(1);
    QCOMPARE(link.writeChunk(80, 3), 0);
    QTRY_COMPARE(shownText().count(frame), 2);
    QVERIFY2(shownText().contains(QStringLiteral("\n--> ") + frame), qPrintable(shownText()));
    QVERIFY2(shownText().contains(QStringLiteral("\n<-- ") + frame), qPrintable(shownText()));
}

QTEST_MAIN(TraceDumpTest)
#include "tst_tracedump.moc"
