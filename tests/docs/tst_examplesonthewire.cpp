// SPDX-License-Identifier: MIT
#include "tests/docs/guides.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/bytes.h"
#include "tests/support/modalwatch.h"
#include "tests/support/testcase.h"

namespace {

constexpr int Copies = 3;

/// The bytes of each call of a function, as "tx" or "rx" of its line in the adapter's log.
QList<QByteArray> bytesOf(const SimulatedAdapter &adapter, const QString &function, const QString &direction)
{
    QList<QByteArray> frames;
    const QStringList calls = adapter.calls(function);
    for (const QString &call : calls)
        frames += QByteArray::fromHex(call.section(direction + u'=', 1).section(u' ', 0, 0).toLatin1());
    return frames;
}

/// The window sends `image` through the adapter. What the error boxes said.
QStringList upload(const SimulatedAdapter &adapter, const QString &connection, const QByteArray &image)
{
    WindowBench bench(adapter);
    bench.start(connection, image);
    const MessageBoxes boxes;
    bench.press();
    if (!bench.waitForEnd())
        QTest::qFail("the upload does not end", __FILE__, __LINE__);
    return boxes.informativeTexts();
}

} // namespace

/// The examples of the protocol guides, against what the loaders hand to the adapter and what the simulated
/// panel answers.
class ExamplesOnTheWireTest : public TestCase
{
    Q_OBJECT

private slots:
    void infrared();
    void modbus();
    void modbusException();
};

void ExamplesOnTheWireTest::infrared()
{
    const Markdown guide = Markdown::read(InfraredGuide);
    SimulatedAdapter adapter;
    adapter.set("LOG_DATA", "1");
    QCOMPARE(upload(adapter, InfraRedText, countingBytes(0, 100)), QStringList());
    QList<QByteArray> frames;
    for (int number = 0; number < 3; ++number)
        frames += QList<QByteArray>(Copies, hexBlock(guide, QStringLiteral("frame-%1").arg(number)));
    QCOMPARE(bytesOf(adapter, QStringLiteral("sub_ir_tx"), QStringLiteral("tx")), frames);
}

void ExamplesOnTheWireTest::modbus()
{
    const Markdown guide = Markdown::read(ModbusGuide);
    SimulatedAdapter adapter;
    adapter.set("LOG_DATA", "1");
    QCOMPARE(upload(adapter, ModbusText, countingBytes(0, 33)), QStringList());
    const auto blocks = [&guide](const char *first, const char *second) {
        return QList<QByteArray>{hexBlock(guide, QLatin1String(first)),
                                 hexBlock(guide, QLatin1String(second))};
    };
    const QString exchange = QStringLiteral("sub_rs_xfer");
    QCOMPARE(bytesOf(adapter, exchange, QStringLiteral("tx")), blocks("request-0", "request-1"));
    QCOMPARE(bytesOf(adapter, exchange, QStringLiteral("rx")), blocks("reply-0", "reply-1"));
}

void ExamplesOnTheWireTest::modbusException()
{
    const Markdown guide = Markdown::read(ModbusGuide);
    SimulatedAdapter adapter;
    adapter.set("LOG_DATA", "1");
    adapter.set("RS", "exception=2,from-record=1");
    QCOMPARE(upload(adapter, ModbusText, countingBytes(0, 33)),
             QStringList{QStringLiteral("Modbus Exception: Illegal Data Address")});
    QCOMPARE(bytesOf(adapter, QStringLiteral("sub_rs_xfer"), QStringLiteral("rx")),
             (QList<QByteArray>{hexBlock(guide, QStringLiteral("reply-0")),
                                hexBlock(guide, QStringLiteral("exception-1"))}));
}

QTEST_MAIN(ExamplesOnTheWireTest)
#include "tst_examplesonthewire.moc"
