// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

#include <functional>

namespace {

const QString LineEcho = QStringLiteral("line_echo");
const QString On = QStringLiteral("true");
const QString ChunkWritten = QStringLiteral("44 bytes written...");
const QString Changed = QStringLiteral("The converter returned record 2 changed");
const QString NotAll = QStringLiteral("The converter did not return all of record 2");

QStringList words(const QString &text)
{
    return text.split(u' ', Qt::SkipEmptyParts);
}

} // namespace

/// Updates over a serial port whose converter returns what is sent, with the key line_echo and without.
class EchoingConverterTest : public TestCase
{
    Q_OBJECT

private slots:
    void theImageArrives_data();
    void theImageArrives();
    void withoutAPanelTheUpdateFails_data();
    void withoutAPanelTheUpdateFails();
    void withoutTheKeyAnUpdateSucceedsWithoutAPanel_data();
    void withoutTheKeyAnUpdateSucceedsWithoutAPanel();
    void aWrongEchoEndsTheUpdate_data();
    void aWrongEchoEndsTheUpdate();
    void theAdapterHasNoSuchEcho();
    void stopAtEachPoint_data();
    void stopAtEachPoint();
    void closingAtEachPoint_data();
    void closingAtEachPoint();

private:
    static void addPoints();
    /// Starts updates until one stands at the row's point, and hands that one over. A machine that is held up
    /// may miss the point.
    static void atThePoint(const std::function<void(Upload &)> &act);
};

void EchoingConverterTest::theImageArrives_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QVariantMap>("options");
    const QVariantMap key{{LineEcho, On}};
    const QVariantMap withGap{{LineEcho, On}, {QStringLiteral("reply_gap"), 1000}};
    QTest::newRow("at once") << QString() << key;
    QTest::newRow("the reply is compared")
        << QString() << QVariantMap{{LineEcho, On}, {QStringLiteral("check_reply"), On}};
    QTest::newRow("a slow panel") << QStringLiteral("--answer-ms 30") << key;
    for (const char *const line : {"--paced", "--bursts 14", "--latency-ms 16"})
        QTest::newRow(line) << QString::fromLatin1(line) << withGap;
}

void EchoingConverterTest::theImageArrives()
{
    QFETCH(const QString, line);
    QFETCH(const QVariantMap, options);
    const QByteArray image = makeBytes(10 * ChunkSize + 7);
    Upload upload(words(QStringLiteral("--line-echo ") + line), options);
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
    QCOMPARE(upload.lines(), signalsFor(static_cast<int>(image.size())));
    QCOMPARE(upload.panel.image(), received(image));
    verifySessionEnded(upload.bench, true);
}

void EchoingConverterTest::withoutAPanelTheUpdateFails_data()
{
    QTest::addColumn<bool>("told");
    QTest::newRow("an empty bar") << false;
    QTest::newRow("a box, with tell_silent_failures") << true;
}

void EchoingConverterTest::withoutAPanelTheUpdateFails()
{
    QFETCH(const bool, told);
    QVariantMap options{{LineEcho, On}, {QStringLiteral("check_reply"), On}};
    if (told)
        options.insert(QStringLiteral("tell_silent_failures"), On);
    Upload upload(words(QStringLiteral("--line-echo --silent")), options);
    QCOMPARE(upload.run(makeBytes(320)), int{MB_TIMEOUT});
    QCOMPARE(upload.boxes.informativeTexts(),
             told ? QStringList(QStringLiteral("The panel does not reply (result 138)")) : QStringList());
    QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 1);
    verifySessionEnded(upload.bench, false);
}

void EchoingConverterTest::withoutTheKeyAnUpdateSucceedsWithoutAPanel_data()
{
    QTest::addColumn<QVariantMap>("options");
    QTest::newRow("no key") << QVariantMap();
    QTest::newRow("a value that is no good") << QVariantMap{{LineEcho, QStringLiteral("1")}};
    // The echo is what the panel's reply would be.
    QTest::newRow("check_reply") << QVariantMap{{QStringLiteral("check_reply"), On}};
    QTest::newRow("reply_gap") << QVariantMap{{QStringLiteral("reply_gap"), 50}};
}

void EchoingConverterTest::withoutTheKeyAnUpdateSucceedsWithoutAPanel()
{
    QFETCH(const QVariantMap, options);
    Upload upload(words(QStringLiteral("--line-echo --silent")), options);
    QCOMPARE(upload.run(makeBytes(320)), 0);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
    QCOMPARE(upload.panel.image(), QByteArray());
    QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 10);
    verifySessionEnded(upload.bench, true);
}

void EchoingConverterTest::aWrongEchoEndsTheUpdate_data()
{
    QTest::addColumn<QString>("converter");
    QTest::addColumn<QString>("text");
    QTest::newRow("one bit wrong") << QStringLiteral("--line-echo-flip") << Changed;
    QTest::newRow("colliding") << QStringLiteral("--line-echo-collide") << Changed;
    QTest::newRow("half of it, then the reply") << QStringLiteral("--line-echo-cut 22") << Changed;
    QTest::newRow("half of it") << QStringLiteral("--line-echo-cut 22 --silent") << NotAll;
    QTest::newRow("nothing") << QStringLiteral("--line-echo-cut 0 --silent") << NotAll;
}

void EchoingConverterTest::aWrongEchoEndsTheUpdate()
{
    QFETCH(const QString, converter);
    QFETCH(const QString, text);
    const QByteArray image = makeBytes(320);
    Upload upload(words(QStringLiteral("--line-echo --from-record 2 ") + converter),
                  {{LineEcho, On}, {QStringLiteral("tell_silent_failures"), On}});
    QCOMPARE(upload.run(image), int{MB_LINE_ECHO_WRONG});
    QCOMPARE(upload.boxes.informativeTexts(), QStringList(text));
    QCOMPARE(upload.panel.image().left(2 * ChunkSize), image.left(2 * ChunkSize));
    QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 3);
    verifySessionEnded(upload.bench, false);
}

void EchoingConverterTest::theAdapterHasNoSuchEcho()
{
    const QByteArray image = makeBytes(320);
    const SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.settings.setValue(QStringLiteral("options/line_echo"), On);
    bench.start(ModbusText, image);
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.modbusImage(), image);
}

/// Where record 2 stands while the loader waits, and the result of a run that is stopped there.
void EchoingConverterTest::addPoints()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("errors");
    const auto row = [](const char *name, const char *line, bool fails) {
        QTest::newRow(name) << QString::fromLatin1(line) << (fails ? int{MB_LINE_ECHO_WRONG} : -1)
                            << (fails ? QStringList(NotAll) : QStringList());
    };
    row("before the echo", "--line-echo-cut 0 --silent", true);
    row("within the echo", "--line-echo-cut 22 --silent", true);
    row("behind the echo", "--late-ms 1500", false);
    row("within the reply", "--split 10 --split-gap-ms 900", false);
}

void EchoingConverterTest::atThePoint(const std::function<void(Upload &)> &act)
{
    constexpr int MostTries = 10;
    QFETCH(const QString, line);
    for (int tries = 0; tries < MostTries; ++tries) {
        Upload upload(words(QStringLiteral("--line-echo --from-record 2 ") + line),
                      {{LineEcho, On}, {QStringLiteral("reply_gap"), 1000}});
        upload.begin(makeBytes(2000 * ChunkSize));
        QTRY_VERIFY(upload.log.count(ChunkWritten) >= 3);
        if (upload.log.count(ChunkWritten) == 3 && !upload.bench.probe().future().isFinished()) {
            act(upload);
            return;
        }
    }
    QFAIL("no update stood at the point");
}

void EchoingConverterTest::stopAtEachPoint_data()
{
    addPoints();
}

void EchoingConverterTest::stopAtEachPoint()
{
    atThePoint([](Upload &upload) {
        upload.bench.press();
        QTEST(upload.finish(), "result");
        QTEST(upload.boxes.informativeTexts(), "errors");
        QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 3);
        verifySessionEnded(upload.bench, false);
    });
}

void EchoingConverterTest::closingAtEachPoint_data()
{
    addPoints();
}

void EchoingConverterTest::closingAtEachPoint()
{
    atThePoint([](Upload &upload) {
        const QFuture<int> future = upload.bench.probe().future();
        upload.emitter.reset();
        upload.bench.close();
        QVERIFY(future.isFinished());
        QTEST(future.result(), "result");
        QCOMPARE(upload.boxes.informativeTexts(), QStringList());
        QCOMPARE(upload.panel.finish().value(QStringLiteral("requests")), 3);
    });
}

QTEST_MAIN(EchoingConverterTest)
#include "tst_echoingconverter.moc"
