// SPDX-License-Identifier: MIT
#include "tests/support/guidepicture.h"
#include "tests/support/testcase.h"
#include "tests/trace/tracehandler.h"

#include <QDebug>
#include <QPixmap>

namespace {

constexpr QSize PictureSize(480, 260);

} // namespace

/// The user guide's picture of a trace with messages of every level.
class TracePictureTest : public TestCase
{
    Q_OBJECT

private slots:
    void takePicture();
};

void TracePictureTest::takePicture()
{
    const TraceOn trace;
    qDebug("44 bytes written...");
    qInfo("Device found: ttyUSB0");
    qWarning("port busy");
    qCritical("the image file cannot be read");
    // A fatal message would end the program after it has been shown.
    logMessageHandler(QtFatalMsg, {}, QStringLiteral("the program has to end"));
    QTRY_COMPARE(shownLines().size(), 5);

    LogBrowserDialog &dialog = *findDialog();
    dialog.resize(PictureSize);
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    const GuidePicture guide(QStringLiteral("trace-levels"));
    guide.use(dialog.grab().toImage());
}

QTEST_MAIN(TracePictureTest)
#include "tst_tracepicture.moc"
