// SPDX-License-Identifier: MIT
#include "simulator/misbehavingpanel.h"
#include "simulator/panelmodel.h"
#include "tests/support/bytes.h"
#include "tests/support/testcase.h"

using simulator::PanelModel;

/// The simulated panel as a Modbus slave, against literal frames: it must be right where the program is
/// wrong.
class PanelModelTest : public TestCase
{
    Q_OBJECT

private slots:
    void checksum_data();
    void checksum();
    void answer_data();
    void answer();
    void recordsMakeTheImage();
    void severalRecordsInOneRequest();
    void gapsReadAsErasedMemory();
    void recordZeroBeginsANewImage();
    void recordZeroBehindTheLastOneGoesOn();
    void discardedRecordIsAnsweredAll();
    void countsEveryFrame();
    void requestLengths_data();
    void requestLengths();
    void faultsBeginWithTheirRecord();
    void hangUpLosesTheRecord();
};

namespace {

// Record 0 with 01 02, record 1 with 03 04, for the panel 80.
const QByteArray Record0 = QByteArray::fromHex("501509060000000000010102CBD0");
const QByteArray Record1 = QByteArray::fromHex("5015090600000001000103047772");
const QByteArray LastRecord = QByteArray::fromHex("501509060000FFFF00010506C8C8");

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

} // namespace

void PanelModelTest::checksum_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("crc");

    QTest::newRow("no bytes") << QByteArray() << 0xFFFF;
    QTest::newRow("check value of the CRC catalogue") << QByteArray("123456789") << 0x4B37;
    QTest::newRow("serial line guide") << hex("0207") << 0x1241;
    QTest::newRow("read holding registers") << hex("01030000000A") << 0xCDC5;
}

void PanelModelTest::checksum()
{
    QFETCH(QByteArray, bytes);
    QTEST(int{simulator::modbusCrc(byteView(bytes))}, "crc");
}

void PanelModelTest::answer_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("reply");

    const QByteArray illegalFunction = hex("509501DF41");
    const QByteArray illegalAddress = hex("5095029F40");
    const QByteArray illegalValue = hex("5095035E80");
    QTest::newRow("record") << Record0 << Record0;
    QTest::newRow("record of 34 bytes")
        << hex("50152906000000000011") + QByteArray(34, '\0') + hex("C101") << illegalValue;
    QTest::newRow("record without data") << hex("50150706000000000000A630") << illegalValue;
    QTest::newRow("longer than it says") << hex("5015090600000000000201023BD0") << illegalValue;
    QTest::newRow("another reference type") << hex("501509070000000000010102C640") << illegalAddress;
    QTest::newRow("another file") << hex("501509060001000000010102DB10") << illegalAddress;
    QTest::newRow("damaged") << hex("501509060000000000010102CBD1") << QByteArray();
    QTest::newRow("broadcast") << hex("0015090600000000000101020B10") << QByteArray();
    QTest::newRow("another panel") << hex("5115090600000000000101023613") << QByteArray();
    QTest::newRow("too short") << hex("FFFF") << QByteArray();
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("unknown function") << hex("500300000001898B") << hex("508301D121");
    QTest::newRow("identity")
        << hex("502B0E01008DBB")
        << hex("502B0E018100000300094E6F7276616E74696301085A4550485952494E0203312E305B64");
    QTest::newRow("identity from an unknown object on")
        << hex("502B0E01094DBD")
        << hex("502B0E018100000300094E6F7276616E74696301085A4550485952494E0203312E305B64");
    QTest::newRow("one object of the identity")
        << hex("502B0E04014F2B") << hex("502B0E048100000101085A4550485952494E4422");
    QTest::newRow("an object that is not there") << hex("502B0E0403CEEA") << hex("50AB028F20");
    QTest::newRow("identity, unknown code") << hex("502B0E05008F7B") << hex("50AB034EE0");
    QTest::newRow("another interface") << hex("502B0D01007DBB") << hex("50AB01CF21");
}

void PanelModelTest::answer()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, reply);
    PanelModel panel(80);
    QCOMPARE(byteArray(panel.answer(byteView(request))).toHex(), reply.toHex());
}

void PanelModelTest::recordsMakeTheImage()
{
    PanelModel panel;
    QCOMPARE(panel.nextRecord(), 0U);
    panel.answer(byteView(Record0));
    QCOMPARE(byteArray(panel.image()), hex("0102"));
    QCOMPARE(panel.nextRecord(), 1U);
    panel.answer(byteView(Record1));
    QCOMPARE(byteArray(panel.image()), hex("0102") + QByteArray(30, '\xFF') + hex("0304"));
    QCOMPARE(panel.changedFrom(), 2U); // the gap before the record is new as well
    QCOMPARE(panel.nextRecord(), 2U);
}

void PanelModelTest::severalRecordsInOneRequest()
{
    PanelModel panel;
    const QByteArray both = hex("5015120600000000000101020600000001000103040A1C");
    QCOMPARE(byteArray(panel.answer(byteView(both))), both);
    QCOMPARE(panel.image().size(), 34U);
    QCOMPARE(panel.counts().records, 2U);
}

void PanelModelTest::gapsReadAsErasedMemory()
{
    PanelModel panel;
    panel.answer(byteView(LastRecord));
    const QByteArray image = byteArray(panel.image());
    QCOMPARE(image.size(), 65535 * 32 + 2);
    QCOMPARE(image.count('\xFF'), 65535 * 32);
    QVERIFY(image.endsWith(hex("0506")));
}

void PanelModelTest::recordZeroBeginsANewImage()
{
    PanelModel panel;
    panel.answer(byteView(Record0));
    panel.answer(byteView(Record1));
    panel.answer(byteView(Record0));
    QCOMPARE(byteArray(panel.image()), hex("0102"));
}

void PanelModelTest::recordZeroBehindTheLastOneGoesOn()
{
    PanelModel panel;
    panel.answer(byteView(LastRecord));
    panel.answer(byteView(Record0));
    QCOMPARE(panel.image().size(), 65535U * 32 + 2);
    QVERIFY(byteArray(panel.image()).startsWith(hex("0102FF")));
}

void PanelModelTest::discardedRecordIsAnsweredAll()
{
    PanelModel panel;
    QCOMPARE(byteArray(panel.answer(byteView(Record0), PanelModel::Taking::Discard)), Record0);
    QCOMPARE(panel.image().size(), 0U);
    QCOMPARE(panel.counts().records, 0U);
}

void PanelModelTest::countsEveryFrame()
{
    PanelModel panel;
    for (const char *request :
         {"501509060000000000010102CBD0", "501509060000000000010102CBD1", "0015090600000000000101020B10",
          "5115090600000000000101023613", "500300000001898B", "502B0E01008DBB"})
        panel.answer(byteView(hex(request)));
    QCOMPARE(panel.counts().requests, 6U);
    QCOMPARE(panel.counts().records, 2U);
    QCOMPARE(panel.counts().badCrcs, 1U);
    QCOMPARE(panel.counts().broadcasts, 1U);
    QCOMPARE(panel.counts().otherAddresses, 1U);
    QCOMPARE(panel.counts().exceptions, 1U);
}

void PanelModelTest::requestLengths_data()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::addColumn<int>("length");

    QTest::newRow("record of 32 bytes") << hex("501527") << 44;
    QTest::newRow("longest byte count") << hex("5015FF") << 260;
    QTest::newRow("identity") << hex("502B0E") << 7;
    QTest::newRow("another interface") << hex("502B0D") << -1;
    QTest::newRow("another function") << hex("500300") << -1;
    QTest::newRow("too early") << hex("5015") << -1;
}

void PanelModelTest::requestLengths()
{
    QFETCH(QByteArray, begin);
    const std::optional<std::size_t> length = simulator::requestLength(byteView(begin));
    QTEST(length ? static_cast<int>(*length) : -1, "length");
}

void PanelModelTest::faultsBeginWithTheirRecord()
{
    simulator::Misbehaviour misbehaviour;
    misbehaviour.fromRecord = 1;
    misbehaviour.exceptionCode = std::uint8_t{4};
    simulator::MisbehavingPanel panel(80, misbehaviour);
    const simulator::Schedule good = panel.answer(byteView(Record0));
    QCOMPARE(good.bursts.size(), 1U);
    QCOMPARE(byteArray(good.bursts.front().bytes), Record0);
    const simulator::Schedule refused = panel.answer(byteView(Record1));
    QCOMPARE(refused.bursts.size(), 1U);
    QCOMPARE(byteArray(refused.bursts.front().bytes).toHex(), QByteArray("5095041f42"));
    QCOMPARE(panel.model().image().size(), 2U);
    QCOMPARE(panel.counts().exceptions, 1U);
}

void PanelModelTest::hangUpLosesTheRecord()
{
    simulator::Misbehaviour misbehaviour;
    misbehaviour.hangUp = true;
    simulator::MisbehavingPanel panel(80, misbehaviour);
    const simulator::Schedule schedule = panel.answer(byteView(Record0));
    QVERIFY(schedule.hangUp);
    QVERIFY(schedule.bursts.empty());
    QCOMPARE(panel.model().image().size(), 0U);
}

QTEST_GUILESS_MAIN(PanelModelTest)
#include "tst_panelmodel.moc"
