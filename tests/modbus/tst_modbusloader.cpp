// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"
#include "modbus/modbusloader.h"
#include "tests/support/bytes.h"
#include "tests/support/loaderbench.h"
#include "tests/support/testcase.h"

#include <cerrno>
#include <cstring>

namespace {

constexpr int ChunkSize = 32;
const QString Exchange = QStringLiteral("sub_rs_xfer");
const QString Timing = QStringLiteral("sub_rs_timing h1 2 0 1000000 10000");
const QString BroadcastTiming = QStringLiteral("sub_rs_timing h1 2 0 10000 10000");
const QString Open = QStringLiteral("sub_open null");

/// The records of an image of the bytes 00 to 63.
const QStringList RecordsOf100Bytes{QStringLiteral("50152706000000000010000102030405060708090A0B0C0D0E0F"
                                                   "101112131415161718191A1B1C1D1E1F7323"),
                                    QStringLiteral("50152706000000010010202122232425262728292A2B2C2D2E2F"
                                                   "303132333435363738393A3B3C3D3E3F2F12"),
                                    QStringLiteral("50152706000000020010404142434445464748494A4B4C4D4E4F"
                                                   "505152535455565758595A5B5C5D5E5FCB41"),
                                    QStringLiteral("50150B06000000030002606162635EC0")};

/// What happens while `records` of an image of `total` whole chunks go out; exchanges without their bytes.
QStringList eventsOfSending(int total, int records, const QString &timing = Timing)
{
    QStringList events{Open, QStringLiteral("load_start 0 %1").arg(total)};
    for (int sent = 1; sent <= records; ++sent) {
        events += QStringList{timing, Exchange};
        if (sent % 3 == 0)
            events += QStringLiteral("load_progress %1").arg(sent);
    }
    return events;
}

/// What has happened, exchanges without their bytes.
QStringList outline(const LoaderBench &bench)
{
    QStringList events = bench.events();
    for (QString &event : events) {
        if (event.startsWith(Exchange))
            event = Exchange;
    }
    return events;
}

/// A panel behind the adapter that confirms each record, until the exchange of this number, counted from 1.
void failAt(LoaderBench &bench, int number, const std::function<QByteArray(const QByteArray &)> &reply)
{
    bench.scripted.replyTo = [number, reply, count = 0](const QByteArray &request) mutable {
        return ++count == number ? reply(request) : request;
    };
}

/// Loads over the adapter's RS-485 port, to the panel at 0x50.
class AdapterBench : public LoaderBench
{
public:
    AdapterBench()
    {
        job.deviceAddress = 0x50;
        scripted.replyTo = [](const QByteArray &request) { return request; };
    }
    int run() { return ModbusLoader(context(), ModbusLoader::Link::Sub20).run(); }
};

} // namespace

/// The Modbus loader, over the adapter: what it does in which order, what goes over the wire, and how a run
/// ends.
class ModbusLoaderTest : public TestCase
{
    Q_OBJECT

private slots:
    void wholeImage_data();
    void wholeImage();
    void recordsToTheByte();
    void anOddChunkIsFilledWithAZero();
    void recordNumbersHave16Bits();
    void theAddressHas8Bits_data();
    void theAddressHas8Bits();
    void aBroadcastAwaitsNoReply();
    void figuresAreKept();
    void aPortThatIsRefusedIsNoted();

    void stopEndsWithinOneRecord_data();
    void stopEndsWithinOneRecord();
    void stopDuringTheLastRecordComesTooLate_data();
    void stopDuringTheLastRecordComesTooLate();
    void stopOfAnEmptyImageComesTooLate();

    void noAdapterOpens();
    void theImageDoesNotOpen_data();
    void theImageDoesNotOpen();
    void aRecordFails_data();
    void aRecordFails();
    void theAdapterRefuses_data();
    void theAdapterRefuses();
    void aRefusedTimingEndsNothing();

    void withoutALinkTheRunFailsInSilence();
    void withoutALinkTheImageIsOpenedAllTheSame();
};

void ModbusLoaderTest::wholeImage_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("records");
    QTest::newRow("empty") << 0 << 0 << 0;
    QTest::newRow("one byte") << 1 << 0 << 1;
    QTest::newRow("a byte less than a chunk") << 31 << 0 << 1;
    QTest::newRow("one chunk") << 32 << 1 << 1;
    QTest::newRow("a byte more than a chunk") << 33 << 1 << 2;
    QTest::newRow("two chunks") << 64 << 2 << 2;
    QTest::newRow("three chunks less a byte") << 95 << 2 << 3;
    QTest::newRow("three chunks") << 96 << 3 << 3;
    QTest::newRow("three chunks and four bytes") << 100 << 3 << 4;
    QTest::newRow("257 chunks") << 8224 << 257 << 257;
}

void ModbusLoaderTest::wholeImage()
{
    QFETCH(const int, size);
    QFETCH(const int, total);
    QFETCH(const int, records);
    AdapterBench bench;
    const QByteArray image = unevenBytes(size);
    bench.setImage(image);
    QCOMPARE(bench.run(), 0);
    QCOMPARE(outline(bench),
             eventsOfSending(total, records) + QStringList{QStringLiteral("load_progress %1").arg(total)});
    QByteArray received;
    const QStringList sent = bench.sent(Exchange);
    for (const QString &request : sent)
        received += QByteArray::fromHex(request.toLatin1()).chopped(2).mid(10);
    QCOMPARE(received, size % 2 == 0 ? image : image + '\0');
    // The handle is left to whoever lent its place.
    QVERIFY(bench.handle);
    QCOMPARE(bench.scripted.calls(QStringLiteral("sub_close")), QStringList());
}

void ModbusLoaderTest::recordsToTheByte()
{
    AdapterBench bench;
    bench.setImage(countingBytes(0, 100));
    QCOMPARE(bench.run(), 0);
    QStringList expected;
    for (const QString &record : RecordsOf100Bytes)
        expected += QStringLiteral("sub_rs_xfer h1 %1 62").arg(record); // 62: the room for the reply
    QCOMPARE(bench.scripted.calls(Exchange), expected);
}

void ModbusLoaderTest::anOddChunkIsFilledWithAZero()
{
    AdapterBench bench;
    bench.setImage(countingBytes(0, 33));
    QCOMPARE(bench.run(), 0);
    QCOMPARE(bench.sent(Exchange),
             (QStringList{RecordsOf100Bytes.constFirst(), QStringLiteral("5015090600000001000120006F81")}));
}

void ModbusLoaderTest::recordNumbersHave16Bits()
{
    AdapterBench bench;
    bench.setImage(QByteArray(2 * 1024 * 1024, '\0') + QByteArray(64, '\x11'));
    QCOMPARE(bench.run(), 0);
    const QStringList sent = bench.sent(Exchange);
    QCOMPARE(sent.size(), 65538);
    const QString zeros(64, u'0');
    const QString elevens(64, u'1');
    QCOMPARE(sent.at(65535), QStringLiteral("501527060000FFFF0010") + zeros + QStringLiteral("59F0"));
    QCOMPARE(sent.at(65536), QStringLiteral("50152706000000000010") + elevens + QStringLiteral("2B3F"));
    QCOMPARE(sent.at(65537).left(20), QStringLiteral("50152706000000010010"));
    QCOMPARE(bench.events().constLast(), QStringLiteral("load_progress 65538"));
}

void ModbusLoaderTest::theAddressHas8Bits_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<QString>("onTheWire");
    QTest::newRow("one") << 1 << QStringLiteral("01");
    QTest::newRow("the greatest") << 255 << QStringLiteral("FF");
    QTest::newRow("over 255") << 0x150 << QStringLiteral("50");
    QTest::newRow("far over 255") << 0x7FFFFF17 << QStringLiteral("17");
    QTest::newRow("negative") << -1 << QStringLiteral("FF");
}

void ModbusLoaderTest::theAddressHas8Bits()
{
    QFETCH(const int, address);
    QFETCH(const QString, onTheWire);
    AdapterBench bench;
    bench.setImage(countingBytes(0, 32));
    bench.job.deviceAddress = address;
    QCOMPARE(bench.run(), 0);
    QCOMPARE(bench.sent(Exchange).size(), 1);
    QCOMPARE(bench.sent(Exchange).constFirst().left(2), onTheWire);
}

void ModbusLoaderTest::aBroadcastAwaitsNoReply()
{
    AdapterBench bench;
    bench.scripted.replyTo = nullptr;
    bench.setImage(countingBytes(0, 64));
    bench.job.deviceAddress = 0x100; // 0 on the wire
    QCOMPARE(bench.run(), 0);
    QCOMPARE(outline(bench),
             eventsOfSending(2, 2, BroadcastTiming) + QStringList{QStringLiteral("load_progress 2")});
    QCOMPARE(bench.sent(Exchange).constFirst().left(2), QStringLiteral("00"));
}

void ModbusLoaderTest::stopEndsWithinOneRecord_data()
{
    QTest::addColumn<int>("records");
    QTest::newRow("before the first one") << 0;
    QTest::newRow("during the first one") << 1;
    QTest::newRow("during the third one") << 3;
    QTest::newRow("during the last but one") << 9;
}

void ModbusLoaderTest::stopEndsWithinOneRecord()
{
    QFETCH(const int, records);
    AdapterBench bench;
    bench.setImage(unevenBytes(10 * ChunkSize));
    bench.stopRequested = records == 0;
    failAt(bench, records, [&](const QByteArray &request) {
        bench.stopRequested = true;
        return request;
    });
    QCOMPARE(bench.run(), -1);
    QCOMPARE(outline(bench), eventsOfSending(10, records));
}

void ModbusLoaderTest::stopDuringTheLastRecordComesTooLate_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("whole chunk") << 4 * ChunkSize;
    QTest::newRow("short chunk") << 3 * ChunkSize + 1;
}

void ModbusLoaderTest::stopDuringTheLastRecordComesTooLate()
{
    QFETCH(const int, size);
    AdapterBench bench;
    bench.setImage(unevenBytes(size));
    failAt(bench, 4, [&](const QByteArray &request) {
        bench.stopRequested = true;
        return request;
    });
    QCOMPARE(bench.run(), 0);
    const int total = size / ChunkSize;
    QCOMPARE(outline(bench),
             eventsOfSending(total, 4) + QStringList{QStringLiteral("load_progress %1").arg(total)});
}

void ModbusLoaderTest::stopOfAnEmptyImageComesTooLate()
{
    AdapterBench bench;
    bench.setImage({});
    bench.stopRequested = true;
    QCOMPARE(bench.run(), 0);
    QCOMPARE(bench.events(),
             (QStringList{Open, QStringLiteral("load_start 0 0"), QStringLiteral("load_progress 0")}));
}

void ModbusLoaderTest::noAdapterOpens()
{
    AdapterBench bench;
    bench.setImage(unevenBytes(100));
    int earlier = 0;
    bench.handle = &earlier; // as a run before leaves it
    bench.scripted.adapters = 0;
    QCOMPARE(bench.run(), -1);
    QCOMPARE(bench.events(), (QStringList{Open, QStringLiteral("errorSignal Can't open SUB-20")}));
    QVERIFY(!bench.handle);
}

void ModbusLoaderTest::theImageDoesNotOpen_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("error");
    QTest::newRow("missing") << QStringLiteral("missing.INC") << ENOENT;
    QTest::newRow("placeholders in its name") << QStringLiteral("%2 %1 %3.INC") << ENOENT;
    QTest::newRow("folder") << QStringLiteral(".") << EISDIR;
    QTest::newRow("no name") << QString() << ENOENT;
}

void ModbusLoaderTest::theImageDoesNotOpen()
{
    QFETCH(const QString, name);
    QFETCH(const int, error);
    AdapterBench bench;
    if (!name.isEmpty())
        bench.job.imageFileName = bench.path() + u'/' + name;
    QCOMPARE(bench.run(), -1);
    QCOMPARE(bench.events(), // the adapter is not asked
             QStringList{QStringLiteral("errorSignal Can't open image file ") + bench.job.imageFileName +
                         u' ' + QString::fromLocal8Bit(std::strerror(error))});
}

void ModbusLoaderTest::aRecordFails_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const char *reply, int result, const char *error) {
        QTest::newRow(name) << QByteArray::fromHex(reply) << result << QString::fromLatin1(error);
    };
    row("silence", "", MB_TIMEOUT, "Modbus Timeout");
    row("exception 4", "5095041F42", MB_EXCEPTION, "Modbus Exception: Slave Device Failure");
    row("unknown exception", "50950B5F46", MB_EXCEPTION, "Modbus Exception: 11 - Unknown");
    row("CRC's first byte", "5095041E42", MB_CRC_ERROR, "CRC error");
    row("CRC's last byte", "5095041F43", MB_CRC_ERROR, "CRC error");
    row("one byte", "50", MB_FRAME_INCOMPLETE, "Frame incomplete (sz=1)\n");
    row("two bytes", "5015", MB_FRAME_INCOMPLETE, "Frame incomplete (sz=2)\n");
    row("three bytes", "501527", MB_CRC_ERROR, "CRC error");
}

void ModbusLoaderTest::aRecordFails()
{
    QFETCH(const QByteArray, reply);
    QFETCH(const int, result);
    QFETCH(const QString, error);
    for (const int record : {1, 3, 10}) {
        AdapterBench bench;
        bench.setImage(unevenBytes(10 * ChunkSize));
        failAt(bench, record, [&](const QByteArray &) { return reply; });
        QCOMPARE(bench.run(), result);
        QCOMPARE(outline(bench), (eventsOfSending(10, record - 1) +
                                  QStringList{Timing, Exchange, QStringLiteral("link ") + error}));
    }
}

void ModbusLoaderTest::theAdapterRefuses_data()
{
    QTest::addColumn<bool>("hasText");
    QTest::addColumn<QString>("error");
    // The library's result comes back without its sign; the text is that of its error variable.
    QTest::newRow("with words") << true << QStringLiteral("link sub_rs_xfer: scripted error 99");
    QTest::newRow("without words") << false << QStringLiteral("link sub_rs_xfer: ");
}

void ModbusLoaderTest::theAdapterRefuses()
{
    QFETCH(const bool, hasText);
    QFETCH(const QString, error);
    AdapterBench bench;
    bench.scripted.hasErrorTexts = hasText;
    bench.setImage(unevenBytes(10 * ChunkSize));
    failAt(bench, 5, [&](const QByteArray &) {
        bench.scripted.answer(Exchange, -7, 99);
        return QByteArray();
    });
    QCOMPARE(bench.run(), 7);
    QCOMPARE(outline(bench), (eventsOfSending(10, 4) +
                              QStringList{Timing, Exchange, QStringLiteral("sub_strerror 99"), error}));
}

void ModbusLoaderTest::aRefusedTimingEndsNothing()
{
    AdapterBench bench;
    bench.setImage(unevenBytes(64));
    bench.scripted.answer(QStringLiteral("sub_rs_timing"), -3, 99);
    QCOMPARE(bench.run(), 0);
    QCOMPARE(outline(bench), eventsOfSending(2, 2) + QStringList{QStringLiteral("load_progress 2")});
}

void ModbusLoaderTest::withoutALinkTheRunFailsInSilence()
{
    AdapterBench bench;
    bench.setImage(unevenBytes(64));
    int earlier = 0;
    bench.handle = &earlier;
    QCOMPARE(ModbusLoader(bench.context(), ModbusLoader::Link::None).run(), -1);
    QCOMPARE(bench.events(), QStringList());
    QVERIFY(!bench.handle);
    // Where an open file cannot be removed, this shows that it is closed.
    QVERIFY(QFile::remove(bench.job.imageFileName));
}

void ModbusLoaderTest::withoutALinkTheImageIsOpenedAllTheSame()
{
    AdapterBench bench;
    bench.job.imageFileName = bench.path() + QStringLiteral("/missing.INC");
    QCOMPARE(ModbusLoader(bench.context(), ModbusLoader::Link::None).run(), -1);
    QCOMPARE(bench.events().size(), 1);
    QVERIFY(bench.events().constFirst().startsWith(QStringLiteral("errorSignal Can't open image file ")));
}

/// Of what is sent, who wants to know.
void ModbusLoaderTest::figuresAreKept()
{
    constexpr int AnswerMs = 20;
    constexpr quint32 UsPerMs = 1000;
    RunFigures figures;
    AdapterBench bench;
    bench.setImage(unevenBytes(100));
    LoaderContext context = bench.context();
    context.figures = &figures;
    failAt(bench, 2, [](const QByteArray &request) {
        QTest::qSleep(AnswerMs);
        return request;
    });
    QCOMPARE(ModbusLoader(context, ModbusLoader::Link::Sub20).run(), LoaderDone);
    QCOMPARE(figures.sent, 4);
    QCOMPARE(figures.done, 4);
    QCOMPARE(figures.timesUs.size(), std::size_t{3}); // the last record is a short one
    QVERIFY(figures.timesUs[1] >= AnswerMs * UsPerMs);

    figures = {};
    failAt(bench, 3, [](const QByteArray &) { return QByteArray(); });
    QCOMPARE(ModbusLoader(context, ModbusLoader::Link::Sub20).run(), int{MB_TIMEOUT});
    QCOMPARE(figures.sent, 3);
    QCOMPARE(figures.done, 2);
    QCOMPARE(figures.timesUs.size(), std::size_t{2});
    QVERIFY(!figures.portWasRefused);
}

void ModbusLoaderTest::aPortThatIsRefusedIsNoted()
{
    RunFigures figures;
    AdapterBench bench;
    bench.setImage(unevenBytes(100));
    bench.job.portName = QStringLiteral("no such port");
    LoaderContext context = bench.context();
    context.figures = &figures;
    QCOMPARE(ModbusLoader(context, ModbusLoader::Link::SerialPort).run(), LoaderFailed);
    QVERIFY(figures.portWasRefused);
    QCOMPARE(figures.sent, 0);
    context.figures = nullptr;
    QCOMPARE(ModbusLoader(context, ModbusLoader::Link::SerialPort).run(), LoaderFailed);
}

QTEST_GUILESS_MAIN(ModbusLoaderTest)
#include "tst_modbusloader.moc"
