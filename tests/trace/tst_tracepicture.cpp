// SPDX-License-Identifier: MIT
#include "tests/support/testcase.h"
#include "tests/trace/tracehandler.h"

#include <QDebug>
#include <QDir>
#include <QPixmap>

namespace {

constexpr QSize PictureSize(480, 260);

} // namespace

/// Takes the picture of the trace that the user guide shows.
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
    const QDir folder(QStringLiteral(PICTURES));
    QVERIFY(folder.mkpath(QStringLiteral(".")));
    QVERIFY(dialog.grab().save(folder.filePath(QStringLiteral("trace-levels.png"))));
}

QTEST_MAIN(TracePictureTest)
#include "tst_tracepicture.moc"
