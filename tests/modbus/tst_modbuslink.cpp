// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"
#include "modbus/porterror.h"
#include "tests/support/messagelog.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QMetaEnum>
#include <QThread>
#include <QTimer>

#include <memory>

/// What of the Modbus link needs no line: its pauses, the meaning of a port's errors, and what it refuses.
class ModbusLinkTest : public TestCase
{
    Q_OBJECT

private slots:
    void everyPortErrorHasAMeaning_data();
    void everyPortErrorHasAMeaning();
    void failuresHaveWords_data();
    void failuresHaveWords();
    void aWholeReplyHasADeadline();
    void whatTheLineTakes();
    void bytesWrittenSaysHowMany();
    void delayIsNeverShorter_data();
    void delayIsNeverShorter();
    void delayIsNotEndedByBytes();
    void delayLetsEventsGoOn();
    void delayOfAThreadThatIsToEndIsNoLoop();
    void withoutALinkNothingIsSent();
};

void ModbusLinkTest::everyPortErrorHasAMeaning_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("gone");
    const auto row = [](QSerialPort::SerialPortError error, bool gone) {
        QTest::newRow(QMetaEnum::fromType<QSerialPort::SerialPortError>().valueToKey(error))
            << int{error} << gone;
    };
    row(QSerialPort::NoError, false);
    row(QSerialPort::DeviceNotFoundError, true);
    row(QSerialPort::PermissionError, true); // a port that is pulled out, on Windows
    row(QSerialPort::OpenError, true);
    row(QSerialPort::WriteError, true);
    row(QSerialPort::ReadError, true);
    row(QSerialPort::ResourceError, true); // the same, on Linux
    row(QSerialPort::UnsupportedOperationError, false);
    row(QSerialPort::UnknownError, true);
    row(QSerialPort::TimeoutError, false);
    row(QSerialPort::NotOpenError, true);
}

void ModbusLinkTest::everyPortErrorHasAMeaning()
{
    QFETCH(const int, error);
    QTEST(isLineGone(static_cast<QSerialPort::SerialPortError>(error)), "gone");
}

void ModbusLinkTest::failuresHaveWords_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("text");
    const auto row = [](int result, const char *text) {
        QTest::addRow("%d", result) << result << QString::fromLatin1(text);
    };
    row(1, "The serial port cannot be written or read (result 1)");
    row(27, "The panel's reply is too long (result 27)");
    row(138, "The panel does not reply (result 138)");
    row(7, "The update failed (result 7)");
}

void ModbusLinkTest::failuresHaveWords()
{
    QFETCH(const int, result);
    QTEST(failureText(result), "text");
}

void ModbusLinkTest::aWholeReplyHasADeadline()
{
    QCOMPARE(Modbus::LongestReplyMs, 293); // 255 bytes of 11 bits at 9600 baud take 292.2 ms
    QCOMPARE(Modbus::GapsPerReply, 2);
}

void ModbusLinkTest::whatTheLineTakes()
{
    QCOMPARE(rtu::lineTimeUs(0), 0);
    QCOMPARE(rtu::lineTimeUs(1), 1042); // 1041.7
    QCOMPARE(rtu::lineTimeUs(96), 100'000);
    QCOMPARE(rtu::lineTimeUs(4'000'000'000), 4'166'666'666'667);
    QCOMPARE(rtu::lineTimeMs(44), 46);                       // a record: 45.8
    QCOMPARE(rtu::lineTimeMs(44, rtu::MostBitsPerByte), 51); // 50.4
}

void ModbusLinkTest::bytesWrittenSaysHowMany()
{
    MessageLog log;
    Modbus modbus;
    modbus.bytesWritten(0);
    modbus.bytesWritten(5'000'000'000);
    QCOMPARE(log.take(), (QStringList{QStringLiteral("debug: 0 bytes written..."),
                                      QStringLiteral("debug: 5000000000 bytes written...")}));
}

void ModbusLinkTest::delayIsNeverShorter_data()
{
    QTest::addColumn<int>("ms");

    for (const int ms : {-5, 0, 1, 30, 250})
        QTest::addRow("%d ms", ms) << ms;
}

void ModbusLinkTest::delayIsNeverShorter()
{
    QFETCH(int, ms);
    Modbus modbus;
    QElapsedTimer timer;
    timer.start();
    modbus.delay(ms);
    const qint64 elapsed = timer.nsecsElapsed();
    QVERIFY2(elapsed >= ms * 1'000'000LL, qPrintable(QString::number(elapsed)));
    QVERIFY(elapsed < 5'000'000'000);
}

void ModbusLinkTest::delayIsNotEndedByBytes()
{
    Modbus modbus;
    QTimer::singleShot(10, &modbus, SLOT(getData()));
    QElapsedTimer timer;
    timer.start();
    modbus.delay(200);
    QVERIFY(timer.elapsed() >= 200);
}

void ModbusLinkTest::delayLetsEventsGoOn()
{
    Modbus modbus;
    bool seen = false;
    QTimer::singleShot(0, &modbus, [&] { seen = true; });
    modbus.delay(100);
    QVERIFY(seen);
}

// No event loop runs on such a thread any more, and so no timer of it ever ends.
void ModbusLinkTest::delayOfAThreadThatIsToEndIsNoLoop()
{
    const std::unique_ptr<QThread> thread(QThread::create([] {
        QThread::currentThread()->quit();
        Modbus modbus;
        modbus.delay(10);
    }));
    thread->start();
    const bool ended = thread->wait(30000);
    if (!ended) {
        thread->terminate();
        thread->wait();
    }
    QVERIFY(ended);
}

void ModbusLinkTest::withoutALinkNothingIsSent()
{
    const MessageLog log;
    const std::uint8_t data = 0;
    Modbus modbus;
    for (const char *const port : {"never given", "taken back"}) {
        QCOMPARE(modbus.xferCom(10), -MB_TX_FAILED);
        QCOMPARE(modbus.transaction(nullptr, 10, 100), int{MB_TX_FAILED});
        QVERIFY2(modbus.writeFileRecord(nullptr, 80, 0, 0, 0, &data) == MB_TX_FAILED, port);
        QVERIFY2(modbus.readDeviceId(nullptr, 80, 1, 0) == MB_TX_FAILED, port);
        modbus.setSerialPort(nullptr);
    }
}

QTEST_GUILESS_MAIN(ModbusLinkTest)
#include "tst_modbuslink.moc"
