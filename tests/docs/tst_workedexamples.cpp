// SPDX-License-Identifier: MIT
#include "modbus/crc16.h"
#include "modbus/frames.h"
#include "modbus/modbus.h"
#include "tests/docs/guides.h"
#include "tests/docs/sources.h"
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"
#include "update/imagefile.h"
#include "update/infraredframe.h"

#include <QTemporaryFile>

#include <array>

namespace {

constexpr int ChunkSize = 32;
constexpr int PanelAddress = 0x50;
constexpr int HexadecimalOrDecimal = 0; // as the text says

/// The number in a cell such as "`0x9B`", "50 ms" or "0"; -1 for none.
int numberIn(const QString &cell)
{
    static const QRegularExpression number(QStringLiteral("0x[0-9A-F]+|\\d+"));
    const QRegularExpressionMatch match = number.match(cell);
    return match.hasMatch() ? match.captured().toInt(nullptr, HexadecimalOrDecimal) : -1;
}

/// The cell behind the one that begins with `label`; empty for none.
QString cellBehind(const Markdown::Table &table, const QString &label, int column = 1)
{
    for (const QStringList &row : table.rows) {
        if (row.value(0).startsWith(label))
            return row.value(column);
    }
    return {};
}

QByteArray withCrc(QByteArray frame)
{
    auto length = static_cast<qint32>(frame.size());
    frame.resize(frame.size() + rtu::CrcSize);
    Modbus::crcAppend(reinterpret_cast<std::uint8_t *>(frame.data()), length);
    return frame;
}

/// The request that carries this chunk of an image.
QByteArray request(const QByteArray &chunk, int record)
{
    rtu::FrameBuffer frame{};
    const int length = rtu::buildWriteFileRecord(frame, PanelAddress, 0, static_cast<std::uint16_t>(record),
                                                 byteView(chunk));
    return withCrc(byteArray({frame.data(), static_cast<std::size_t>(length)}));
}

} // namespace

/// The examples and the figures of the two protocol guides, against the program's own code.
class WorkedExamplesTest : public TestCase
{
    Q_OBJECT

private slots:
    void everyBlockIsKnown_data();
    void everyBlockIsKnown();
    void aBlockThatIsAlteredIsNone_data();
    void aBlockThatIsAlteredIsNone();

    void infraredFrames();
    void infraredLayout();
    void infraredNumbers();
    void infraredFigures_data();
    void infraredFigures();
    void infraredCrc();

    void modbusRequestsAndReplies();
    void modbusException();
    void modbusLayout();
    void modbusResults();
    void modbusExceptionTexts();
    void modbusTiming_data();
    void modbusTiming();
    void modbusCrc();
    void modbusCrcStepByStep();
};

void WorkedExamplesTest::everyBlockIsKnown_data()
{
    QTest::addColumn<QString>("guide");
    QTest::addColumn<QStringList>("infos");
    const auto row = [](const QString &guide, const char *infos) {
        QTest::newRow(qPrintable(guide)) << guide << QString::fromLatin1(infos).split(u',');
    };
    row(InfraredGuide, "text,hex frame-0,hex frame-1,hex frame-2");
    row(ModbusGuide, "text,hex request-0,hex reply-0,hex request-1,hex reply-1,hex exception-1");
}

void WorkedExamplesTest::everyBlockIsKnown()
{
    QFETCH(const QString, guide);
    QFETCH(const QStringList, infos);
    QCOMPARE(fenceInfos(Markdown::read(guide)), infos);
}

void WorkedExamplesTest::aBlockThatIsAlteredIsNone_data()
{
    QTest::addColumn<QString>("lines");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("as it should be") << "50 15   why\n6F 81" << QByteArray::fromHex("50156F81");
    QTest::newRow("a digit too few") << "50 1" << QByteArray();
    QTest::newRow("no blank between") << "5015" << QByteArray();
    QTest::newRow("small letters") << "6f 81" << QByteArray();
    QTest::newRow("remark too near") << "50 15 why" << QByteArray();
    QTest::newRow("a second line that is none") << "50 15\n..." << QByteArray();
}

void WorkedExamplesTest::aBlockThatIsAlteredIsNone()
{
    QFETCH(const QString, lines);
    QFETCH(const QByteArray, bytes);
    const Markdown guide(QStringLiteral("```hex a\n%1\n```\n").arg(lines));
    QCOMPARE(hexBlock(guide, QStringLiteral("a")), bytes);
    QCOMPARE(hexBlock(guide, QStringLiteral("b")), QByteArray());
}

void WorkedExamplesTest::infraredFrames()
{
    const Markdown guide = Markdown::read(InfraredGuide);
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(countingBytes(0, 100));
    file.close();
    ImageFile image(file.fileName());
    QVERIFY(image.open());

    infrared::Block block{};
    infrared::Frame frame{};
    std::uint8_t number = 0;
    for (; image.read(block) > 0; number = infrared::nextNumber(number)) {
        infrared::buildFrame(frame, infrared::CrcVariant, number, block);
        QCOMPARE(hexBlock(guide, QStringLiteral("frame-%1").arg(number)).toHex(' '),
                 byteArray(frame).toHex(' '));
    }
    QCOMPARE(int{number}, 3);
}

void WorkedExamplesTest::infraredLayout()
{
    const Markdown guide = Markdown::read(InfraredGuide);
    const Markdown::Table table = guide.table(QStringLiteral("The frame"), QStringLiteral("Offset"));
    QCOMPARE(table.rows.size(), 6);
    const QByteArray frame = hexBlock(guide, QStringLiteral("frame-0"));
    QList<QByteArray> fields;
    qsizetype end = 0;
    for (const QStringList &row : table.rows.sliced(1)) {
        QCOMPARE(numberIn(row.value(0)), end);
        fields += frame.mid(end, numberIn(row.value(1)));
        end += numberIn(row.value(1));
    }
    QCOMPARE(end, qsizetype{infrared::FrameSize});
    QCOMPARE(fields,
             (QList<QByteArray>{QByteArray::fromHex("5555C3EA"), QByteArray(1, '\0'), countingBytes(0, 48),
                                QByteArray(1, static_cast<char>(infrared::crc8(byteView(frame.mid(4, 49))))),
                                QByteArray(8, '\xFF')}));
}

void WorkedExamplesTest::infraredNumbers()
{
    const Markdown guide = Markdown::read(InfraredGuide);
    const Markdown::Table table = guide.table(QStringLiteral("Frame numbers"), QStringLiteral("Frame"));
    QCOMPARE(table.rows.size(), 7);
    for (const QStringList &row : table.rows.sliced(1)) {
        std::uint8_t number = 0;
        for (int frame = 1; frame < numberIn(row.value(0)); ++frame)
            number = infrared::nextNumber(number);
        QCOMPARE(numberIn(row.value(1)), int{number});
    }
}

void WorkedExamplesTest::infraredFigures_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<int>("figure");
    const QString loader = QStringLiteral("update/infraredloader.cpp");
    QTest::newRow("carrier") << "Carrier" << constantIn(loader, QStringLiteral("CarrierHz"));
    QTest::newRow("copies") << "Copies" << constantIn(loader, QStringLiteral("CopiesPerFrame"));
    QTest::newRow("size") << "Frame" << int{infrared::FrameSize};
}

void WorkedExamplesTest::infraredFigures()
{
    QFETCH(const QString, label);
    QFETCH(const int, figure);
    QVERIFY(figure > 0);
    const Markdown guide = Markdown::read(InfraredGuide);
    QCOMPARE(numberIn(cellBehind(guide.table(QStringLiteral("What the program sends")), label)), figure);
}

void WorkedExamplesTest::infraredCrc()
{
    const Markdown::Table table = Markdown::read(InfraredGuide).table(QStringLiteral("The CRC"));
    const auto figure = [&table](const char *label) {
        return numberIn(cellBehind(table, QLatin1String(label)));
    };
    const auto crc = [](const QByteArray &bytes) { return int{infrared::crc8(byteView(bytes))}; };
    QCOMPARE(figure("Polynomial"), crc(QByteArray(1, '\1')));
    QCOMPARE(figure("Initial value"), crc(QByteArray()));
    QCOMPARE(figure("Check value"), crc(QByteArray("123456789")));
    QCOMPARE(figure("Over number 0 and 48"), crc(QByteArray(49, '\0')));
    QCOMPARE(figure("Over number 1 and 48"), crc(QByteArray(1, '\1') + QByteArray(48, '\0')));
    QCOMPARE(table.rows.size(), 9);
}

void WorkedExamplesTest::modbusRequestsAndReplies()
{
    const Markdown guide = Markdown::read(ModbusGuide);
    const QList<QByteArray> requests{request(countingBytes(0, ChunkSize), 0),
                                     request(QByteArray::fromHex("2000"), 1)};
    for (int record = 0; record < requests.size(); ++record) {
        const QByteArray hex = requests.at(record).toHex(' ');
        QCOMPARE(hexBlock(guide, QStringLiteral("request-%1").arg(record)).toHex(' '), hex);
        const QByteArray reply = hexBlock(guide, QStringLiteral("reply-%1").arg(record));
        QCOMPARE(reply.toHex(' '), hex);
        QVERIFY(rtu::isCompleteRecordEcho(byteView(reply)));
        // The remark beside the CRC has it as a number, high byte first.
        const QString remark = guide.fence(QStringLiteral("hex request-%1").arg(record)).constLast();
        QCOMPARE(numberIn(remark.section(QStringLiteral("CRC"), 1)),
                 int{rtu::crc16(byteView(reply.chopped(rtu::CrcSize)))});
    }
}

void WorkedExamplesTest::modbusException()
{
    const Markdown guide = Markdown::read(ModbusGuide);
    const QByteArray reply = hexBlock(guide, QStringLiteral("exception-1"));
    QCOMPARE(reply.toHex(' '), withCrc(QByteArray::fromHex("509502")).toHex(' '));
    QVERIFY(rtu::isCompleteException(byteView(reply)));
    const QString remark = guide.fence(QStringLiteral("hex exception-1")).constLast();
    QCOMPARE(numberIn(remark.section(QStringLiteral("CRC"), 1)), int{rtu::crc16(byteView(reply.first(3)))});
}

void WorkedExamplesTest::modbusLayout()
{
    const Markdown guide = Markdown::read(ModbusGuide);
    const Markdown::Table table = guide.table(QStringLiteral("The request"), QStringLiteral("Byte"));
    QCOMPARE(table.rows.size(), 10);
    const QByteArray request = hexBlock(guide, QStringLiteral("request-1"));
    QCOMPARE(request.size(), 14);
    QCOMPARE(numberIn(cellBehind(table, QStringLiteral("1"))), int{rtu::WriteFileRecordFunction});
    QCOMPARE(numberIn(cellBehind(table, QStringLiteral("2")).section(u'+', 1)), request.at(2) - 2);
    QCOMPARE(numberIn(cellBehind(table, QStringLiteral("3"))), int{request.at(3)});
    QCOMPARE(numberIn(cellBehind(table, QStringLiteral("4, 5"))),
             constantIn(QStringLiteral("modbus/modbusloader.cpp"), QStringLiteral("ImageFileNumber")));
    QCOMPARE(constantIn(QStringLiteral("modbus/modbusloader.cpp"), QStringLiteral("ChunkSize")), ChunkSize);
}

void WorkedExamplesTest::modbusResults()
{
    const Markdown::Table table =
        Markdown::read(ModbusGuide).table(QStringLiteral("The reply"), QStringLiteral("Reply"));
    const auto results = [](const Markdown::Table &of) {
        QList<int> numbers;
        for (const QStringList &row : of.rows)
            numbers += numberIn(row.value(1));
        return numbers;
    };
    QCOMPARE(results(table), (QList<int>{-1, MB_TIMEOUT, MB_RX_OVERFLOW, MB_FRAME_INCOMPLETE, MB_CRC_ERROR,
                                         MB_EXCEPTION, MB_NO_ECHO}));
    const Markdown::Table echoes = Markdown::read(ModbusGuide)
                                       .table(QStringLiteral("Converters that return what is sent"),
                                              QStringLiteral("What the converter returns"));
    QCOMPARE(results(echoes), (QList<int>{-1, MB_LINE_ECHO_WRONG, MB_LINE_ECHO_WRONG}));
}

void WorkedExamplesTest::modbusExceptionTexts()
{
    const Markdown::Table table =
        Markdown::read(ModbusGuide).table(QStringLiteral("The reply"), QStringLiteral("Code"));
    QStringList codes;
    for (const QStringList &row : table.rows.sliced(1)) {
        codes += row.value(0);
        const QString text =
            row.value(0) == QStringLiteral("any other")
                ? rtu::exceptionText(UINT8_MAX).replace(QStringLiteral("255"), QStringLiteral("*code*"))
                : rtu::exceptionText(static_cast<std::uint8_t>(numberIn(row.value(0))));
        QVERIFY2(row.value(1).startsWith(QStringLiteral("\"Modbus Exception: %1\"").arg(text)),
                 qPrintable(row.value(1)));
    }
    QCOMPARE(codes.join(u' '), QStringLiteral("1 2 3 4 5 6 any other"));
}

void WorkedExamplesTest::modbusTiming_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("figure");
    const auto row = [](const char *label, int column, const char *file, const char *name, int divisor = 1) {
        const int figure = constantIn(QLatin1String(file), QLatin1String(name));
        QVERIFY2(figure > 0, name);
        QTest::newRow(name) << QString::fromLatin1(label) << column << figure / divisor;
    };
    row("Pause before each request", 1, "modbus/modbus.h", "DefaultRequestPauseMs");
    row("With `line_echo`: the whole request", 1, "modbus/modbus.h", "LineEchoSlackMs");
    row("The reply's first byte", 1, "modbus/modbus_transports.cpp", "ReplyTimeoutMs");
    row("The reply's first byte", 2, "modbus/modbus.cpp", "WriteFileRecordTimeoutMs");
    row("The reply may pause", 2, "modbus/modbus_transports.cpp", "RsInterByteTimeoutUs", 1000);
    row("The longest reply", 1, "modbus/modbus.h", "LongestReply");
    row("The longest reply", 2, "modbus/modbus_transports.cpp", "RsReceiveSize");
    row("Address 0: a reply", 2, "modbus/modbus.cpp", "BroadcastReplyTimeoutMs");
    row("Address 0: pause", 1, "modbus/modbusloader.cpp", "BroadcastDelayMs");
    row("Address 0: pause", 2, "modbus/modbusloader.cpp", "BroadcastDelayMs");
}

void WorkedExamplesTest::modbusTiming()
{
    QFETCH(const QString, label);
    QFETCH(const int, column);
    QFETCH(const int, figure);
    const Markdown guide = Markdown::read(ModbusGuide);
    QCOMPARE(numberIn(cellBehind(guide.table(QStringLiteral("Timing")), label, column)), figure);
}

void WorkedExamplesTest::modbusCrc()
{
    const Markdown::Table table = Markdown::read(ModbusGuide).table(QStringLiteral("The CRC"));
    const auto cell = [&table](const char *label) { return cellBehind(table, QLatin1String(label)); };
    const int reflected = numberIn(cell("Polynomial").section(QStringLiteral("reflected"), 1));
    // 7F is FF but for its highest bit: of the register's low byte, only the last shift has a bit to drop.
    QCOMPARE(reflected, rtu::crc16(std::array<std::uint8_t, 1>{0x7F}) ^ 0x00FF);
    int polynomial = 0;
    for (int bit = 0; bit < 16; ++bit)
        polynomial |= ((reflected >> bit) & 1) << (15 - bit);
    QCOMPARE(numberIn(cell("Polynomial")), polynomial);
    QCOMPARE(numberIn(cell("Initial value")), int{rtu::crc16({})});
    QCOMPARE(numberIn(cell("Check value")), int{rtu::crc16(byteView(QByteArray("123456789")))});
}

void WorkedExamplesTest::modbusCrcStepByStep()
{
    const Markdown guide = Markdown::read(ModbusGuide);
    const QString heading = QStringLiteral("The CRC, step by step");
    const Markdown::Table bits = guide.table(heading, QStringLiteral("The first byte"));
    const Markdown::Table bytes = guide.table(heading, QStringLiteral("Byte"));
    QCOMPARE(bits.rows.size(), 10);
    QCOMPARE(bytes.rows.size(), 5);

    const QByteArray reply = hexBlock(guide, QStringLiteral("exception-1"));
    QCOMPARE(reply.size(), 5);
    for (int sent = 0; sent <= 3; ++sent) {
        const QStringList &row = bytes.rows.at(sent + 1);
        QCOMPARE(numberIn(row.value(0)),
                 sent == 0 ? -1 : int{byteView(reply)[static_cast<std::size_t>(sent) - 1]});
        QCOMPARE(numberIn(row.value(1)), int{rtu::crc16(byteView(reply.first(sent)))});
    }

    const int firstByte = numberIn(bits.rows.at(1).value(0));
    QCOMPARE(firstByte, int{byteView(reply)[0]});
    int shifted = 0xFFFF ^ firstByte;
    QCOMPARE(numberIn(bits.rows.at(1).value(2)), shifted);
    for (const QStringList &row : bits.rows.sliced(2)) {
        QCOMPARE(numberIn(row.value(1)), shifted & 1);
        shifted = (shifted >> 1) ^ ((shifted & 1) * 0xA001);
        QCOMPARE(numberIn(row.value(2)), shifted);
    }
    QCOMPARE(shifted, numberIn(bytes.rows.at(2).value(1)));
}

QTEST_GUILESS_MAIN(WorkedExamplesTest)
#include "tst_workedexamples.moc"
