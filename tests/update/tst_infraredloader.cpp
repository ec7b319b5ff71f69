// SPDX-License-Identifier: MIT
#include "tests/support/bytes.h"
#include "tests/support/loaderbench.h"
#include "tests/support/messagelog.h"
#include "tests/support/testcase.h"
#include "update/infraredloader.h"

#include <cerrno>
#include <cstring>

namespace {

constexpr int BlockSize = 48;
constexpr int Copies = 3;
const QString Transmission = QStringLiteral("sub_ir_tx");
const QString Open = QStringLiteral("sub_open null");
const QString Configuration = QStringLiteral("sub_ir_config h1 38000 10 1 10");
const QString Refusal = QStringLiteral("sub_strerror 21");

/// What goes out of an image of the bytes 00 to 63: the third block ends like the second one.
const QStringList FramesOf100Bytes{
    QStringLiteral(
        "5555C3EA00000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F2021222324252627"
        "28292A2B2C2D2E2F05FFFFFFFFFFFFFFFF"),
    QStringLiteral(
        "5555C3EA01303132333435363738393A3B3C3D3E3F404142434445464748494A4B4C4D4E4F5051525354555657"
        "58595A5B5C5D5E5FF4FFFFFFFFFFFFFFFF"),
    QStringLiteral(
        "5555C3EA02606162633435363738393A3B3C3D3E3F404142434445464748494A4B4C4D4E4F5051525354555657"
        "58595A5B5C5D5E5F0BFFFFFFFFFFFFFFFF")};

int run(LoaderBench &bench)
{
    int variant = infrared::CrcVariant;
    return InfraredLoader(bench.context(), variant).run();
}

/// What happens while `frames` of an image of `blocks` whole blocks go out; transmissions without their
/// bytes.
QStringList eventsOfSending(int blocks, int frames)
{
    QStringList events{QStringLiteral("busy"), Open, Configuration,
                       QStringLiteral("load_start 0 %1").arg(blocks)};
    for (int sent = 1; sent <= frames; ++sent) {
        events += QStringList(Copies, Transmission);
        if (sent % 3 == 0)
            events += QStringLiteral("load_progress %1").arg(sent);
    }
    return events;
}

/// The same up to the end of a run that succeeds.
QStringList eventsOfUpload(int blocks, int frames)
{
    return eventsOfSending(blocks, frames) +
           QStringList{QStringLiteral("load_progress %1").arg(blocks), QStringLiteral("load_finish")};
}

/// What has happened, transmissions without their bytes.
QStringList outline(const LoaderBench &bench)
{
    QStringList events = bench.events();
    for (QString &event : events) {
        if (event.startsWith(Transmission))
            event = Transmission;
    }
    return events;
}

/// Does something as soon as the transmission of this number, counted from 1, is under way.
void atTransmission(LoaderBench &bench, int number, const std::function<void()> &action)
{
    bench.onEvent = [number, action, count = 0](const QString &event) mutable {
        if (event.startsWith(Transmission) && ++count == number)
            action();
    };
}

} // namespace

/// The infrared loader: what it does in which order, what the adapter gets, and how a run ends.
class InfraredLoaderTest : public TestCase
{
    Q_OBJECT

private slots:
    void wholeImage_data();
    void wholeImage();
    void framesToTheByte();
    void afterNumber255Comes1();
    void theVariantIsSetAnewForEachRun();
    void theLogSaysThatItRuns();
    void figuresAreKept();

    void stopEndsWithinOneBlock_data();
    void stopEndsWithinOneBlock();
    void stopBeforeTheFirstBlockSendsNothing();
    void stopDuringTheLastBlockComesTooLate_data();
    void stopDuringTheLastBlockComesTooLate();
    void stopOfAnEmptyImageComesTooLate();

    void noAdapterOpens();
    void theImageDoesNotOpen_data();
    void theImageDoesNotOpen();
    void theConfigurationIsRefused_data();
    void theConfigurationIsRefused();
    void aTransmissionIsRefused_data();
    void aTransmissionIsRefused();
    void anErrorWithoutWords();
};

void InfraredLoaderTest::wholeImage_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("blocks");
    QTest::addColumn<int>("frames");
    QTest::newRow("empty") << 0 << 0 << 0;
    QTest::newRow("one byte") << 1 << 0 << 1;
    QTest::newRow("a byte less than a block") << 47 << 0 << 1;
    QTest::newRow("one block") << 48 << 1 << 1;
    QTest::newRow("a byte more than a block") << 49 << 1 << 2;
    QTest::newRow("two blocks and four bytes") << 100 << 2 << 3;
    QTest::newRow("three blocks") << 144 << 3 << 3;
    QTest::newRow("257 blocks") << 12336 << 257 << 257;
}

void InfraredLoaderTest::wholeImage()
{
    QFETCH(const int, size);
    QFETCH(const int, blocks);
    QFETCH(const int, frames);
    LoaderBench bench;
    const QByteArray image = unevenBytes(size);
    bench.setImage(image);
    QCOMPARE(run(bench), 0);
    QCOMPARE(outline(bench), eventsOfUpload(blocks, frames));
    QByteArray received;
    const QStringList sent = bench.sent(Transmission);
    for (int frame = 0; frame < frames; ++frame) {
        QCOMPARE(sent.mid(frame * Copies, Copies), QStringList(Copies, sent.at(frame * Copies)));
        received += QByteArray::fromHex(sent.at(frame * Copies).toLatin1()).mid(5, BlockSize);
    }
    QCOMPARE(received.left(size), image);
    // The handle is left to whoever lent its place.
    QVERIFY(bench.handle);
    QCOMPARE(bench.scripted.calls(QStringLiteral("sub_close")), QStringList());
}

void InfraredLoaderTest::framesToTheByte()
{
    LoaderBench bench;
    bench.setImage(countingBytes(0, 100));
    QCOMPARE(run(bench), 0);
    QStringList expected;
    for (const QString &frame : FramesOf100Bytes)
        expected += QStringList(Copies, QStringLiteral("sub_ir_tx h1 62 ") + frame);
    QCOMPARE(bench.scripted.calls(Transmission), expected);
}

void InfraredLoaderTest::afterNumber255Comes1()
{
    LoaderBench bench;
    bench.setImage(unevenBytes(512 * BlockSize));
    QCOMPARE(run(bench), 0);
    const QStringList sent = bench.sent(Transmission);
    QCOMPARE(sent.size(), 512 * Copies);
    for (int block = 0; block < 512; ++block) {
        const int number = block <= 255 ? block : (block - 1) % 255 + 1;
        QCOMPARE(sent.at(block * Copies).mid(8, 2).toInt(nullptr, 16), number);
    }
}

void InfraredLoaderTest::theVariantIsSetAnewForEachRun()
{
    LoaderBench bench;
    bench.setImage(countingBytes(0, 100));
    for (int round = 1; round <= 2; ++round) {
        int variant = 0; // a layout that the panel does not take
        QCOMPARE(InfraredLoader(bench.context(), variant).run(), 0);
        QCOMPARE(variant, infrared::CrcVariant);
        QCOMPARE(bench.sent(Transmission).size(), round * 9);
        QCOMPARE(bench.sent(Transmission).constLast(), FramesOf100Bytes.constLast());
    }
    // The session begins once the adapter is open.
    bench.scripted.adapters = 0;
    int variant = 0;
    QCOMPARE(InfraredLoader(bench.context(), variant).run(), -1);
    QCOMPARE(variant, 0);
}

void InfraredLoaderTest::theLogSaysThatItRuns()
{
    LoaderBench bench;
    bench.setImage(unevenBytes(100));
    const MessageLog log;
    QCOMPARE(run(bench), 0);
    QCOMPARE(log.texts(), QStringList{QStringLiteral("boot run")});
}

void InfraredLoaderTest::stopEndsWithinOneBlock_data()
{
    QTest::addColumn<int>("transmission");
    QTest::addColumn<int>("frames");
    QTest::newRow("during the first block's first copy") << 1 << 1;
    QTest::newRow("during the first block's second copy") << 2 << 1;
    QTest::newRow("during the first block's third copy") << 3 << 1;
    QTest::newRow("during the fourth block's first copy") << 10 << 4;
    QTest::newRow("during the last but one block's third copy") << 57 << 19;
}

void InfraredLoaderTest::stopEndsWithinOneBlock()
{
    QFETCH(const int, transmission);
    QFETCH(const int, frames);
    LoaderBench bench;
    bench.setImage(unevenBytes(20 * BlockSize));
    atTransmission(bench, transmission, [&] { bench.stopRequested = true; });
    QCOMPARE(run(bench), -1);
    QCOMPARE(outline(bench), eventsOfSending(20, frames));
}

void InfraredLoaderTest::stopBeforeTheFirstBlockSendsNothing()
{
    LoaderBench bench;
    bench.setImage(unevenBytes(100));
    bench.stopRequested = true;
    QCOMPARE(run(bench), -1);
    QCOMPARE(outline(bench), eventsOfSending(2, 0));
}

void InfraredLoaderTest::stopDuringTheLastBlockComesTooLate_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("transmission");
    for (const int copy : {10, 11, 12}) {
        QTest::addRow("whole block, transmission %d", copy) << 4 * BlockSize << copy;
        QTest::addRow("short block, transmission %d", copy) << 3 * BlockSize + 1 << copy;
    }
}

void InfraredLoaderTest::stopDuringTheLastBlockComesTooLate()
{
    QFETCH(const int, size);
    QFETCH(const int, transmission);
    LoaderBench bench;
    bench.setImage(unevenBytes(size));
    atTransmission(bench, transmission, [&] { bench.stopRequested = true; });
    QCOMPARE(run(bench), 0);
    const int blocks = size / BlockSize;
    QCOMPARE(outline(bench), eventsOfUpload(blocks, 4));
}

void InfraredLoaderTest::stopOfAnEmptyImageComesTooLate()
{
    LoaderBench bench;
    bench.setImage({});
    bench.stopRequested = true;
    QCOMPARE(run(bench), 0);
    QCOMPARE(outline(bench), eventsOfUpload(0, 0));
}

void InfraredLoaderTest::noAdapterOpens()
{
    LoaderBench bench;
    bench.job.imageFileName = bench.path() + QStringLiteral("/missing.INC"); // which is not looked at
    bench.scripted.adapters = 0;
    QCOMPARE(run(bench), -1);
    QCOMPARE(bench.events(),
             (QStringList{QStringLiteral("busy"), Open, QStringLiteral("box SUB-20 not connected!")}));
    QVERIFY(!bench.handle);
}

void InfraredLoaderTest::theImageDoesNotOpen_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("error");
    QTest::newRow("missing") << QStringLiteral("missing.INC") << ENOENT;
    QTest::newRow("placeholders in its name") << QStringLiteral("%2 %1.INC") << ENOENT;
    QTest::newRow("folder") << QStringLiteral(".") << EISDIR;
    QTest::newRow("no name") << QString() << ENOENT;
}

void InfraredLoaderTest::theImageDoesNotOpen()
{
    QFETCH(const QString, name);
    QFETCH(const int, error);
    LoaderBench bench;
    if (!name.isEmpty())
        bench.job.imageFileName = bench.path() + u'/' + name;
    QCOMPARE(run(bench), -1);
    const QString text = QStringLiteral("errorSignal Can't open image file ") + bench.job.imageFileName +
                         u' ' + QString::fromLocal8Bit(std::strerror(error));
    QCOMPARE(bench.events(), (QStringList{QStringLiteral("busy"), Open, text}));
    QVERIFY(bench.handle);
}

void InfraredLoaderTest::theConfigurationIsRefused_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("positive") << 7;
    QTest::newRow("negative") << -7;
}

void InfraredLoaderTest::theConfigurationIsRefused()
{
    QFETCH(const int, code);
    LoaderBench bench;
    bench.setImage(unevenBytes(100));
    // The text is that of the result, not of the library's error variable.
    bench.scripted.answer(QStringLiteral("sub_ir_config"), code, 99);
    QCOMPARE(run(bench), code);
    QCOMPARE(
        bench.events(),
        (QStringList{QStringLiteral("busy"), Open, Configuration, QStringLiteral("sub_strerror %1").arg(code),
                     QStringLiteral("errorSignal SUB-20 sub_ir_config: scripted error %1").arg(code)}));
}

void InfraredLoaderTest::aTransmissionIsRefused_data()
{
    QTest::addColumn<int>("transmission");
    QTest::addColumn<int>("frames"); // complete ones before it
    QTest::newRow("first copy of all") << 1 << 0;
    QTest::newRow("first copy of frame 4") << 13 << 4;
    QTest::newRow("second copy of frame 4") << 14 << 4;
    QTest::newRow("third copy of frame 4") << 15 << 4;
    QTest::newRow("last copy of all") << 30 << 9;
}

void InfraredLoaderTest::aTransmissionIsRefused()
{
    QFETCH(const int, transmission);
    QFETCH(const int, frames);
    LoaderBench bench;
    bench.setImage(unevenBytes(10 * BlockSize));
    atTransmission(bench, transmission, [&] { bench.scripted.answer(Transmission, 21, 99); });
    QCOMPARE(run(bench), 21);
    QCOMPARE(outline(bench),
             (eventsOfSending(10, frames) + QStringList(transmission - frames * Copies, Transmission) +
              QStringList{Refusal, QStringLiteral("errorSignal SUB-20 sub_ir_tx: scripted error 21")}));
}

void InfraredLoaderTest::anErrorWithoutWords()
{
    LoaderBench bench;
    bench.setImage(unevenBytes(100));
    bench.scripted.hasErrorTexts = false;
    bench.scripted.answer(Transmission, -5);
    QCOMPARE(run(bench), -5);
    QCOMPARE(bench.events().constLast(), QStringLiteral("errorSignal SUB-20 sub_ir_tx: "));
    bench.scripted.answer(QStringLiteral("sub_ir_config"), 7);
    QCOMPARE(run(bench), 7);
    QCOMPARE(bench.events().constLast(), QStringLiteral("errorSignal SUB-20 sub_ir_config: "));
}

/// Of what is sent, who wants to know.
void InfraredLoaderTest::figuresAreKept()
{
    RunFigures figures;
    LoaderBench bench;
    bench.setImage(unevenBytes(100));
    LoaderContext context = bench.context();
    context.figures = &figures;
    int variant = infrared::CrcVariant;
    QCOMPARE(InfraredLoader(context, variant).run(), LoaderDone);
    QCOMPARE(figures.sent, 3);
    QCOMPARE(figures.done, 3);
    QCOMPARE(figures.timesUs.size(), std::size_t{3}); // a short block takes a whole frame

    figures = {};
    atTransmission(bench, Copies + 2, [&] { bench.scripted.answer(Transmission, 21); });
    QCOMPARE(InfraredLoader(context, variant).run(), 21);
    QCOMPARE(figures.sent, 2);
    QCOMPARE(figures.done, 1);
    QCOMPARE(figures.timesUs.size(), std::size_t{1});
    QVERIFY(!figures.portWasRefused);
}

QTEST_GUILESS_MAIN(InfraredLoaderTest)
#include "tst_infraredloader.moc"
