// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"

namespace {

/// The image size from which the record numbers begin anew.
constexpr int WrapSize = 65536 * ChunkSize;

} // namespace

/// Numbers of an upload that are larger than their field on the wire: only their low bytes go out.
class WireNumbersTest : public TestCase
{
    Q_OBJECT

private slots:
    void anAddressOver255_data();
    void anAddressOver255();
    void aRecordNumberOver65535();
};

void WireNumbersTest::anAddressOver255_data()
{
    QTest::addColumn<int>("address");
    QTest::newRow("80") << 80;
    QTest::newRow("80 above 256") << 256 + 80;
    QTest::newRow("80 below 256") << 80 - 256;
    QTest::newRow("0 above 256: all panels") << 256;
}

void WireNumbersTest::anAddressOver255()
{
    QFETCH(const int, address);
    const QByteArray image = makeBytes(64);
    Upload upload;
    upload.bench.probe().setDeviceAddress(address);
    QCOMPARE(upload.run(image), 0);
    const QMap<QString, int> counts = upload.panel.finish();
    QCOMPARE(counts.value(QStringLiteral("requests")), 2);
    QCOMPARE(counts.value(QStringLiteral("broadcasts")), address == 256 ? 2 : 0);
    QCOMPARE(counts.value(QStringLiteral("other-address")), 0);
}

// The panel's memory begins anew with what record 0 brings the second time.
void WireNumbersTest::aRecordNumberOver65535()
{
    const QByteArray image = unevenBytes(WrapSize + 2 * ChunkSize);
    SimulatedAdapter adapter;
    WindowBench bench(adapter);
    bench.start(ModbusText, image);
    const MessageBoxes boxes;
    const EmitterLog emitted(*bench.probe().emitter());
    bench.press();
    QVERIFY(bench.waitForEnd(280000));
    QCOMPARE(bench.probe().future().result(), 0);
    QCOMPARE(boxes.informativeTexts(), QStringList());
    QCOMPARE(emitted.lines().constFirst(), QStringLiteral("load_start 0 65538"));
    QCOMPARE(emitted.lines().constLast(), QStringLiteral("load_progress 65538"));
    QCOMPARE(adapter.calls(QStringLiteral("sub_rs_xfer")).size(), 65538);
    QCOMPARE(adapter.modbusImage().left(2 * ChunkSize), image.mid(WrapSize));
    QVERIFY(image.mid(WrapSize) != image.left(2 * ChunkSize));
}

QTEST_MAIN(WireNumbersTest)
#include "tst_wirenumbers.moc"
