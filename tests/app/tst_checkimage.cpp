// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/testcase.h"
#include "update/firmwareloader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QVariantMap CheckIt{{QStringLiteral("check_image"), true},
                          {QStringLiteral("tell_silent_failures"), true}};
const QString Page = QStringLiteral("The image is not sent: the file is an HTML or XML page");
const QString TooLarge =
    QStringLiteral("The image is not sent: it has more than 2097152 bytes, and Modbus cannot number them");

/// A file whose content is still to come.
QString makePipe(const QString &folder)
{
    const QString name = folder + QStringLiteral("/pipe.INC");
    [&] { QCOMPARE(::mkfifo(qPrintable(name), 0600), 0); }();
    return name;
}

/// Returns when the check has the pipe open. From then on it waits for the content, or for its end.
int openForWriting(const QString &pipe)
{
    const int end = ::open(qPrintable(pipe), O_WRONLY | O_CLOEXEC);
    [&] { QVERIFY(end >= 0); }();
    return end;
}

} // namespace

/// Images that are refused when "Start Update" was pressed, with the key check_image and without.
class CheckImageTest : public TestCase
{
    Q_OBJECT

private slots:
    void nothingGoesOverTheSerialLine();
    void noAdapterIsOpened_data();
    void noAdapterIsOpened();
    void theLimitIsThatOfModbus_data();
    void theLimitIsThatOfModbus();
    void goodImagesAreSent_data();
    void goodImagesAreSent();
    void withoutTheKeyEverythingIsSent();
    void aMissingImageHasTheLoadersText();
    void aStopDuringTheCheckIsSilent();
    void closingDuringTheCheckIsSilent();
};

void CheckImageTest::nothingGoesOverTheSerialLine()
{
    Upload upload({}, CheckIt);
    QCOMPARE(upload.run("<html><body>Not found"), ImageRefused);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList(Page));
    QCOMPARE(upload.lines(), QStringList(ErrorPrefix + Page));
    QCOMPARE(upload.panel.image(), QByteArray());
    QCOMPARE(upload.log.texts(), QStringList(Page));
    verifySessionEnded(upload.bench, false);

    const QByteArray image = makeBytes(100);
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.panel.image(), image);
}

void CheckImageTest::noAdapterIsOpened_data()
{
    QTest::addColumn<QString>("connection");
    QTest::newRow("infrared") << InfraRedText;
    QTest::newRow("Modbus") << ModbusText;
}

void CheckImageTest::noAdapterIsOpened()
{
    QFETCH(const QString, connection);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("options/check_image"), QStringLiteral("true"));
    bench.start(connection, "<html><body>Not found");
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QTRY_COMPARE(boxes.informativeTexts(), QStringList(Page));
    QCOMPARE(bench.probe().future().result(), ImageRefused);
    QCOMPARE(opensAndCloses(adapter.log()), QStringList());
    verifySessionEnded(bench, false);
}

void CheckImageTest::theLimitIsThatOfModbus_data()
{
    QTest::addColumn<QString>("connection");
    QTest::addColumn<QString>("box");
    // What begins to be sent ends at once.
    QTest::newRow("infrared") << InfraRedText << QStringLiteral("SUB-20 sub_ir_config: ");
    QTest::newRow("Modbus") << ModbusText << TooLarge;
}

void CheckImageTest::theLimitIsThatOfModbus()
{
    QFETCH(const QString, connection);
    QFETCH(const QString, box);
    SimulatedAdapter adapter;
    adapter.set("FAIL", "sub_ir_config:1:3");
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("options/check_image"), QStringLiteral("true"));
    bench.start(connection, QByteArray(2097153, 'x'));
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QTRY_COMPARE(boxes.informativeTexts().size(), 1);
    QVERIFY2(boxes.informativeTexts().constFirst().startsWith(box),
             qPrintable(boxes.informativeTexts().constFirst()));
}

void CheckImageTest::goodImagesAreSent_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {1, 31, 32, 33, 96, 100})
        QTest::addRow("%d", size) << size;
}

void CheckImageTest::goodImagesAreSent()
{
    QFETCH(const int, size);
    Upload upload({}, CheckIt);
    const QByteArray image = makeBytes(size);
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.panel.image(), received(image));
    QCOMPARE(upload.lines(), signalsFor(size));
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}

void CheckImageTest::withoutTheKeyEverythingIsSent()
{
    Upload upload;
    const QByteArray page = "<html><body>Not found!</body></html>";
    QCOMPARE(upload.run(page), 0);
    QCOMPARE(upload.panel.image(), page);
}

void CheckImageTest::aMissingImageHasTheLoadersText()
{
    Upload upload({}, CheckIt);
    QCOMPARE(upload.runFile(QStringLiteral("/nowhere/panel.INC")), LoaderFailed);
    QCOMPARE(
        upload.boxes.informativeTexts(),
        QStringList(QStringLiteral("Can't open image file /nowhere/panel.INC No such file or directory")));
}

void CheckImageTest::aStopDuringTheCheckIsSilent()
{
    Upload upload({}, CheckIt);
    const QString pipe = makePipe(upload.bench.path());
    upload.beginFile(pipe);
    const int end = openForWriting(pipe);
    upload.bench.press();
    ::close(end);
    QCOMPARE(upload.finish(), LoaderFailed);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
    QCOMPARE(upload.lines(), QStringList());
    QCOMPARE(upload.panel.image(), QByteArray());
}

void CheckImageTest::closingDuringTheCheckIsSilent()
{
    Upload upload({}, CheckIt);
    const QString pipe = makePipe(upload.bench.path());
    upload.bench.window().show();
    upload.beginFile(pipe);
    const int end = openForWriting(pipe);
    upload.bench.window().close();
    ::close(end);
    upload.bench.close();
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
    QCOMPARE(upload.lines(), QStringList());
    QCOMPARE(upload.log.count(CanceledText), 1);
}

QTEST_MAIN(CheckImageTest)
#include "tst_checkimage.moc"
