// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

/// Stop and closing on a serial upload, with each of the options that change what it does.
class StopWithOptionsTest : public TestCase
{
    Q_OBJECT

private slots:
    void stop_data();
    void stop();
    void closing_data();
    void closing();

private:
    static void addOptions();
    static QStringList lineFor(const QVariantMap &options);
    /// Starts an upload that is far from its end, and waits until the panel has got something.
    static void beginAndWait(Upload &upload);
};

void StopWithOptionsTest::addOptions()
{
    QTest::addColumn<QVariantMap>("options");
    const auto row = [](const char *name, const QString &value) {
        QTest::newRow(name) << QVariantMap{{QString::fromLatin1(name), value}};
    };
    const QString on = QStringLiteral("true");
    QTest::newRow("none") << QVariantMap();
    row("reply_gap", QStringLiteral("50"));
    row("check_reply", on);
    row("port_follows_menu", on);
    row("tell_silent_failures", on);
    row("line_echo", on);
    row("request_pause", QStringLiteral("4"));
    row("trace_frames", on);
    row("check_image", on);
    row("alert_when_done", on);
    row("log_file", on);
    QTest::newRow("all") << QVariantMap{{QStringLiteral("reply_gap"), QStringLiteral("50")},
                                        {QStringLiteral("check_reply"), on},
                                        {QStringLiteral("port_follows_menu"), on},
                                        {QStringLiteral("tell_silent_failures"), on},
                                        {QStringLiteral("line_echo"), on},
                                        {QStringLiteral("request_pause"), QStringLiteral("4")},
                                        {QStringLiteral("trace_frames"), on},
                                        {QStringLiteral("check_image"), on},
                                        {QStringLiteral("alert_when_done"), on},
                                        {QStringLiteral("log_file"), on}};
}

/// The converter that the option is for.
QStringList StopWithOptionsTest::lineFor(const QVariantMap &options)
{
    return options.contains(QStringLiteral("line_echo")) ? QStringList(QStringLiteral("--line-echo"))
                                                         : QStringList();
}

void StopWithOptionsTest::beginAndWait(Upload &upload)
{
    upload.begin(makeBytes(2000 * ChunkSize));
    QTRY_VERIFY(upload.lines().size() >= 2);
}

void StopWithOptionsTest::stop_data()
{
    addOptions();
}

void StopWithOptionsTest::stop()
{
    QFETCH(const QVariantMap, options);
    Upload upload(lineFor(options), options);
    beginAndWait(upload);
    upload.bench.press();
    QCOMPARE(upload.finish(), -1);
    QCOMPARE(upload.log.count(CanceledText), 1);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
    verifySessionEnded(upload.bench, false);
    const QByteArray image = makeBytes(10 * ChunkSize);
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.panel.image().left(image.size()), image);
}

void StopWithOptionsTest::closing_data()
{
    addOptions();
}

void StopWithOptionsTest::closing()
{
    QFETCH(const QVariantMap, options);
    Upload upload(lineFor(options), options);
    beginAndWait(upload);
    const QFuture<int> future = upload.bench.probe().future();
    upload.emitter.reset();
    upload.bench.close();
    QVERIFY(future.isFinished());
    QCOMPARE(future.result(), -1);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}

QTEST_MAIN(StopWithOptionsTest)
#include "tst_stopwithoptions.moc"
