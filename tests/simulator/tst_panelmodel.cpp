// SPDX-License-Identifier: MIT
#include "simulator/misbehavingpanel.h"
#include "simulator/misbehaviouroptions.h"
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
    void theConverterReturnsWhatIsSent_data();
    void theConverterReturnsWhatIsSent();
    void anEchoForSomebodyElse_data();
    void anEchoForSomebodyElse();
    void theEchoPassesWhileTheRequestIsSent();
    void optionsThatContradictEachOther_data();
    void optionsThatContradictEachOther();
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

/// The options by name, as the simulated adapter's environment has them.
simulator::Misbehaviour misbehaviourOf(const QStringList &options)
{
    simulator::Misbehaviour misbehaviour;
    for (const QString &option : options) {
        const std::string error = simulator::applyMisbehaviour(
            misbehaviour, option.section(u'=', 0, 0).toStdString(), option.section(u'=', 1).toStdString());
        if (!error.empty())
            QTest::qFail(error.c_str(), __FILE__, __LINE__);
    }
    return misbehaviour;
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

void PanelModelTest::theConverterReturnsWhatIsSent_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const QString &options, const QByteArray &bytes) {
        QTest::newRow(qPrintable(options)) << options.split(u' ') << bytes;
    };
    row(QStringLiteral("line-echo"), Record0 + Record0);
    row(QStringLiteral("line-echo exception=2"), Record0 + hex("5095029f40"));
    row(QStringLiteral("line-echo silent"), Record0);
    row(QStringLiteral("line-echo line-echo-flip"), hex("501509060000001000010102cbd0") + Record0);
    row(QStringLiteral("line-echo line-echo-cut=7"), Record0.left(7) + Record0);
    row(QStringLiteral("line-echo line-echo-cut=0"), Record0);
    row(QStringLiteral("line-echo line-echo-cut=4 line-echo-flip silent"), hex("50151906"));
    // From the middle on, both send: 00 00 01 01 02 CB D0 and 50 15 09 06 00 00 00.
    row(QStringLiteral("line-echo line-echo-collide"),
        Record0.left(7) + hex("00000100000000") + Record0.mid(7));
    row(QStringLiteral("line-echo line-echo-flip from-record=1"), Record0 + Record0);
}

void PanelModelTest::theConverterReturnsWhatIsSent()
{
    QFETCH(const QStringList, options);
    simulator::MisbehavingPanel panel(80, misbehaviourOf(options));
    QByteArray bytes;
    for (const simulator::Burst &burst : panel.answer(byteView(Record0)).bursts)
        bytes += byteArray(burst.bytes);
    QTEST(bytes, "bytes");
}

void PanelModelTest::anEchoForSomebodyElse_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::newRow("damaged") << hex("501509060000000000010102CBD1");
    QTest::newRow("another slave") << hex("511509060000000000010102DBDC");
    QTest::newRow("broadcast") << hex("0015090600000000000101020B10");
}

void PanelModelTest::anEchoForSomebodyElse()
{
    QFETCH(const QByteArray, request);
    simulator::MisbehavingPanel panel(80, misbehaviourOf({QStringLiteral("line-echo")}));
    const simulator::Schedule schedule = panel.answer(byteView(request));
    QCOMPARE(schedule.bursts.size(), 1U);
    QCOMPARE(byteArray(schedule.bursts.front().bytes), request);
    simulator::MisbehavingPanel without(80, {});
    QVERIFY(without.answer(byteView(request)).bursts.empty());
}

// At 9600 baud a byte takes 1041.7 us: a request of 14 bytes, the panel's 3 ms, and then its reply.
void PanelModelTest::theEchoPassesWhileTheRequestIsSent()
{
    simulator::MisbehavingPanel panel(80,
                                      misbehaviourOf({QStringLiteral("line-echo"), QStringLiteral("paced"),
                                                      QStringLiteral("answer-ms=3")}));
    const simulator::Schedule schedule = panel.answer(byteView(Record0));
    QCOMPARE(schedule.bursts.size(), 28U);
    std::uint64_t us = 0;
    for (std::size_t i = 0; i < 14; ++i)
        us += schedule.bursts[i].delayBeforeUs;
    QCOMPARE(us, 14583U);
    QCOMPARE(schedule.bursts[14].delayBeforeUs, 3000U + 1041U);

    // A converter's timer hands over what has come, whoever sent it: 15 bytes in 16 ms.
    simulator::MisbehavingPanel slow(
        80, misbehaviourOf({QStringLiteral("line-echo"), QStringLiteral("latency-ms=16")}));
    QCOMPARE(byteArray(slow.answer(byteView(Record0)).bursts.front().bytes), Record0 + Record0.left(1));
}

void PanelModelTest::optionsThatContradictEachOther_data()
{
    QTest::addColumn<bool>("agree");
    const auto row = [](const char *options, bool agree) { QTest::newRow(options) << agree; };
    row("line-echo", true);
    row("line-echo silent", true);
    row("line-echo line-echo-flip line-echo-cut=3", true);
    row("line-echo line-echo-collide paced", true);
    row("line-echo-flip", false);
    row("line-echo-cut=3", false);
    row("line-echo-collide", false);
    row("line-echo line-echo-flip line-echo-cut=0", false);
    row("line-echo line-echo-collide line-echo-flip", false);
    row("line-echo line-echo-collide line-echo-cut=3", false);
    row("line-echo line-echo-collide silent", false);
    row("line-echo line-echo-collide hang-up", false);
    row("paced bursts=14", false);
}

void PanelModelTest::optionsThatContradictEachOther()
{
    const QStringList options = QString::fromLatin1(QTest::currentDataTag()).split(u' ');
    QTEST(simulator::contradiction(misbehaviourOf(options)).empty(), "agree");
}

QTEST_GUILESS_MAIN(PanelModelTest)
#include "tst_panelmodel.moc"
