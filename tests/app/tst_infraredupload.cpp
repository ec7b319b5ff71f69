// SPDX-License-Identifier: MIT
#include "tests/support/adapterchecks.h"
#include "tests/support/bytes.h"
#include "tests/support/emitterlog.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

#include <QFile>
#include <QTemporaryDir>

#include <limits>

namespace {

constexpr int BlockSize = 48;
constexpr int Copies = 3;
const QString Transmission = QStringLiteral("sub_ir_tx");

/// The panel's copy of an image of more than one block: a short last block brings the end of the block
/// before it.
QByteArray padded(const QByteArray &image)
{
    const qsizetype rest = image.size() % BlockSize;
    return rest == 0 ? image : image + image.mid(image.size() - BlockSize, BlockSize - rest);
}

/// The library's calls in a whole upload of this many frames.
QStringList callsOfUpload(int frames)
{
    QStringList calls{QStringLiteral("sub_open null = h"),
                      QStringLiteral("sub_ir_config h 38000 10 1 10 = 0")};
    calls += QStringList(qsizetype{frames} * Copies, QStringLiteral("sub_ir_tx h 62 = 0"));
    calls += QStringLiteral("infrared frames=%1 good=%2 damaged=0 duplicates=%3 out-of-order=0")
                 .arg(frames * Copies)
                 .arg(frames)
                 .arg(frames * (Copies - 1));
    calls +=
        QStringLiteral("modbus requests=0 records=0 bad-crc=0 other-address=0 broadcasts=0 exceptions=0");
    calls += QStringLiteral("sub_close h = 0");
    return calls;
}

/// What it reports of a whole upload.
QStringList signalsOfUpload(qsizetype size)
{
    const int blocks = static_cast<int>(size / BlockSize);
    const int frames = size % BlockSize == 0 ? blocks : blocks + 1;
    return signalsOfSending(blocks, frames) +
           QStringList{QStringLiteral("load_progress %1").arg(blocks), QStringLiteral("load_finish")};
}

/// Keeps the adapter within the infrared transmission that follows the first `count` ones. Stands behind the
/// window: that waits for its loader as it goes.
class InfraredGate
{
public:
    InfraredGate(SimulatedAdapter &adapter, int count)
    {
        letEnd(count);
        adapter.set("IR_GATE_FILE", file().toLocal8Bit());
    }
    ~InfraredGate() { open(); }
    InfraredGate(const InfraredGate &) = delete;
    InfraredGate &operator=(const InfraredGate &) = delete;

    void open() const { letEnd(std::numeric_limits<int>::max()); }

private:
    QString file() const { return folder.filePath(QStringLiteral("gate")); }
    void letEnd(int count) const
    {
        QFile number(file());
        QVERIFY(number.open(QIODevice::WriteOnly));
        number.write(QByteArray::number(count));
    }

    QTemporaryDir folder;
};

} // namespace

/// Uploads by infrared, from the press on the button to the panel.
class InfraredUploadTest : public TestCase
{
    Q_OBJECT

private slots:
    void wholeImage_data();
    void wholeImage();
    void aCopyMayFail_data();
    void aCopyMayFail();

    void theVariantIsSetAnewForEachRun();
    void stopEndsWithinOneBlock_data();
    void stopEndsWithinOneBlock();
    void stopDuringTheLastBlockComesTooLate_data();
    void stopDuringTheLastBlockComesTooLate();
};

void InfraredUploadTest::wholeImage_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("frames");
    QTest::newRow("empty") << 0 << 0;
    QTest::newRow("one byte") << 1 << 1;
    QTest::newRow("a byte less than a block") << 47 << 1;
    QTest::newRow("one block") << 48 << 1;
    QTest::newRow("a byte more than a block") << 49 << 2;
    QTest::newRow("two blocks and four bytes") << 100 << 3;
    QTest::newRow("three blocks") << 144 << 3;
    QTest::newRow("257 blocks") << 12336 << 257;
}

void InfraredUploadTest::wholeImage()
{
    QFETCH(const int, size);
    QFETCH(const int, frames);
    const QByteArray image = unevenBytes(size);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, image);
    const qsizetype before = adapter.log().size();
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.infraredImage().size(), qsizetype{frames} * BlockSize);
    if (size < BlockSize) // what fills up the only block is nobody's concern
        QCOMPARE(adapter.infraredImage().left(size), image);
    else
        QCOMPARE(adapter.infraredImage(), padded(image));
    QCOMPARE(withoutHandles(adapter.log().mid(before)), callsOfUpload(frames));
    QCOMPARE(heard.lines(), signalsOfUpload(size));
    QCOMPARE(log.texts(), QStringList{QStringLiteral("boot run")});
    QVERIFY(boxes.contents().isEmpty());
    verifySessionEnded(bench, true);
}

void InfraredUploadTest::aCopyMayFail_data()
{
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QByteArray>("copies");
    for (const char *const variable : {"IR_LOSE", "IR_DAMAGE"}) {
        for (const char *const copies : {"*:1", "*:2", "*:3", "2:1", "2:2", "2:3", "0:1,1:2,2:3", "*:1,*:3"})
            QTest::addRow("%s %s", variable, copies) << QByteArray(variable) << QByteArray(copies);
    }
}

void InfraredUploadTest::aCopyMayFail()
{
    QFETCH(const QByteArray, variable);
    QFETCH(const QByteArray, copies);
    const QByteArray image = unevenBytes(300);
    SimulatedAdapter adapter;
    adapter.set(variable, copies);
    WindowBench bench(adapter);
    bench.start(InfraRedText, image);
    bench.press();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(adapter.infraredImage(), padded(image));
}

void InfraredUploadTest::theVariantIsSetAnewForEachRun()
{
    const QByteArray image = unevenBytes(2 * BlockSize);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(InfraRedText, image);
    for (int run = 0; run < 2; ++run) {
        bench.probe().setInfraredVariant(0); // a layout that the panel does not take
        bench.press();
        QVERIFY(bench.waitForEnd());
        QCOMPARE(bench.probe().future().result(), 0);
        QCOMPARE(adapter.infraredImage(), image);
        adapter.set("LOG_DATA", "1"); // the simulation starts afresh
    }
}

void InfraredUploadTest::stopEndsWithinOneBlock_data()
{
    QTest::addColumn<int>("ended");
    QTest::newRow("before the first copy is out") << 0;
    QTest::newRow("between the first block's copies") << 1;
    QTest::newRow("before a later block's first copy is out") << 9;
    QTest::newRow("after its first copy") << 10;
    QTest::newRow("after its second copy") << 11;
}

void InfraredUploadTest::stopEndsWithinOneBlock()
{
    QFETCH(const int, ended);
    constexpr int Blocks = 20;
    const QByteArray image = unevenBytes(Blocks * BlockSize);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    const InfraredGate gate(adapter, ended);
    bench.start(InfraRedText, image);
    const EmitterLog heard(*bench.probe().emitter());
    const MessageLog log;
    const MessageBoxes boxes;
    bench.press();
    // With this block in the panel's memory, its next copy is under way and waits.
    const int frames = ended / Copies + 1;
    QTRY_COMPARE(adapter.infraredImage().size(), qsizetype{frames} * BlockSize);
    QTRY_COMPARE(adapter.calls(Transmission).size(), ended);
    bench.press();
    gate.open();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), -1);
    QCOMPARE(adapter.calls(Transmission).size(), frames * Copies);
    QCOMPARE(heard.lines(), signalsOfSending(Blocks, frames));
    QVERIFY(boxes.contents().isEmpty());
    QCOMPARE(log.texts(), (QStringList{QStringLiteral("boot run"), CanceledText}));
    QCOMPARE(adapter.infraredImage(), image.left(qsizetype{frames} * BlockSize));
    QCOMPARE(handleFaults(adapter.log()), QStringList());
    verifySessionEnded(bench, false);
}

void InfraredUploadTest::stopDuringTheLastBlockComesTooLate_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("whole block") << 4 * BlockSize;
    QTest::newRow("short block") << 3 * BlockSize + 1;
}

void InfraredUploadTest::stopDuringTheLastBlockComesTooLate()
{
    QFETCH(const int, size);
    constexpr int Frames = 4;
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    const InfraredGate gate(adapter, Frames * Copies - 1);
    bench.start(InfraRedText, unevenBytes(size));
    const EmitterLog heard(*bench.probe().emitter());
    bench.press();
    QTRY_COMPARE(adapter.calls(Transmission).size(), Frames * Copies - 1);
    bench.press();
    gate.open();
    QVERIFY(bench.waitForEnd());
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(heard.lines(), signalsOfUpload(size));
    QCOMPARE(adapter.calls(Transmission).size(), Frames * Copies);
}

QTEST_MAIN(InfraredUploadTest)
#include "tst_infraredupload.moc"
