// SPDX-License-Identifier: MIT
#include "tests/modbus/seriallink.h"
#include "tests/support/outputcapture.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QElapsedTimer>
#include <QTimer>

#include <cerrno>

/// What becomes of a request whose serial line is gone, closed or refuses to be written or read.
class LineFaultsTest : public TestCase
{
    Q_OBJECT

private slots:
    void hangUpEndsTheWait_data();
    void hangUpEndsTheWait();
    void lineThatIsGoneAlreadyEndsTheWait();
    void closedPortIsAFailedWrite();
    void staleErrorNumberIsNotPrinted();
    void readErrorIsPassedOn();
    void anErrorDuringTheWait_data();
    void anErrorDuringTheWait();
    void anErrorBeforeTheWait();
    void errorsBeforeOpeningAreForgotten();
    void errorsOfAnotherPortAreNone();
};

namespace {

/// Half of the time that a reply may take: mostly it is milliseconds, but a machine may be busy.
constexpr qint64 GoneLimitMs = 5000;

const QString RxTimeout = QStringLiteral("debug: modbus_RTU_COM: rx timeout");

} // namespace

void LineFaultsTest::hangUpEndsTheWait_data()
{
    QTest::addColumn<QString>("misbehaviour");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("lastEvent");

    QTest::newRow("instead of a reply") << QStringLiteral("--hang-up") << 138 << RxTimeout;
    QTest::newRow("during the wait") << QStringLiteral("--hang-up --late-ms 300") << 138 << RxTimeout;
    QTest::newRow("within a reply") << QStringLiteral("--hang-up --cut 10") << 104
                                    << QStringLiteral("error: CRC error");
}

void LineFaultsTest::hangUpEndsTheWait()
{
    QFETCH(QString, misbehaviour);
    PanelProcess panel(misbehaviour.split(u' '));
    SerialLink link(panel.path());
    QElapsedTimer timer;
    timer.start();
    QTEST(link.writeChunk(), "result");
    QVERIFY(timer.elapsed() < GoneLimitMs);
    QTEST(link.events.take().constLast(), "lastEvent");
}

void LineFaultsTest::lineThatIsGoneAlreadyEndsTheWait()
{
    Pty pty;
    SerialLink link(pty.path());
    pty.hangUp();
    for (int request = 0; request < 2; ++request) {
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(link.writeChunk(), 138);
        QVERIFY(timer.elapsed() < GoneLimitMs);
        QCOMPARE(link.events.take().constLast(), RxTimeout);
    }
}

void LineFaultsTest::closedPortIsAFailedWrite()
{
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("QSerialPort::flush.*: device not open")));
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QSerialPort): device not open");
    SerialLink link(QStringLiteral("nowhere"), QIODevice::NotOpen);
    OutputCapture output;
    const qint32 result = link.writeChunk();
    const QByteArray text = output.finish();
    QCOMPARE(result, 1);
    QCOMPARE(text, QByteArray("Modbus Tx Failed(-1): Input/output error\n"));
    QCOMPARE(link.events.take(), QStringList());
}

void LineFaultsTest::staleErrorNumberIsNotPrinted()
{
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QSerialPort): ReadOnly device");
    Pty pty;
    SerialLink link(pty.path(), QIODevice::ReadOnly);
    OutputCapture output;
    errno = ENOMEM;
    const qint32 result = link.writeChunk();
    const QByteArray text = output.finish();
    QCOMPARE(result, 1);
    QCOMPARE(text, QByteArray("Modbus Tx Failed(-1): Input/output error\n"));
}

void LineFaultsTest::readErrorIsPassedOn()
{
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::read (QSerialPort): WriteOnly device");
    Pty pty;
    SerialLink link(pty.path(), QIODevice::WriteOnly);
    QTimer::singleShot(200, &link.modbus, SLOT(getData()));
    QCOMPARE(link.writeChunk(), 1);
    QCOMPARE(link.events.take(), QStringList{ChunkWritten});
}

void LineFaultsTest::anErrorDuringTheWait_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("gone");
    QTest::newRow("none") << int{QSerialPort::NoError} << false;
    QTest::newRow("time-out") << int{QSerialPort::TimeoutError} << false;
    QTest::newRow("unsupported operation") << int{QSerialPort::UnsupportedOperationError} << false;
    QTest::newRow("resource") << int{QSerialPort::ResourceError} << true;
    QTest::newRow("read") << int{QSerialPort::ReadError} << true;
    QTest::newRow("permission") << int{QSerialPort::PermissionError} << true;
    QTest::newRow("unknown") << int{QSerialPort::UnknownError} << true;
}

// The reply comes behind the error: only a line that is gone keeps it from being taken.
void LineFaultsTest::anErrorDuringTheWait()
{
    QFETCH(const int, error);
    QFETCH(const bool, gone);
    Pty pty;
    SerialLink link(pty.path());
    QTimer::singleShot(0, &link.port, [&] {
        emit link.port.errorOccurred(static_cast<QSerialPort::SerialPortError>(error));
        QTimer::singleShot(0, &link.port, [&] { pty.send(QByteArray::fromHex("01030000000AC5CD")); });
    });
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), gone ? 138 : 0);
    QVERIFY(timer.elapsed() < GoneLimitMs);
}

// The port's last error is the time-out of its look for bytes; the one before it counts all the same.
void LineFaultsTest::anErrorBeforeTheWait()
{
    Pty pty;
    SerialLink link(pty.path());
    connect(&link.port, &QSerialPort::errorOccurred, this, [&](QSerialPort::SerialPortError error) {
        if (error == QSerialPort::TimeoutError)
            emit link.port.errorOccurred(QSerialPort::PermissionError);
    });
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(link.writeChunk(), 138);
    QVERIFY(timer.elapsed() < GoneLimitMs);
}

void LineFaultsTest::errorsBeforeOpeningAreForgotten()
{
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("QSerialPort::flush.*: device not open")));
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QSerialPort): device not open");
    Pty pty;
    SerialLink link(QStringLiteral("/dev/null/nowhere"), QIODevice::NotOpen);
    QVERIFY(!link.port.open(QIODevice::ReadWrite));
    QCOMPARE(link.writeChunk(), 1);
    link.port.setPortName(pty.path());
    QVERIFY(link.port.open(QIODevice::ReadWrite));
    pty.answer(QByteArray::fromHex("01030000000AC5CD"));
    QCOMPARE(link.writeChunk(), 0);
}

void LineFaultsTest::errorsOfAnotherPortAreNone()
{
    Pty before;
    Pty pty;
    SerialLink link(before.path());
    QSerialPort other(pty.path());
    QVERIFY(other.open(QIODevice::ReadWrite));
    connect(&other, &QSerialPort::readyRead, &link.modbus, &Modbus::getData);
    link.modbus.setSerialPort(&other);
    QTimer::singleShot(0, &link.port, [&] {
        emit link.port.errorOccurred(QSerialPort::ResourceError);
        QTimer::singleShot(0, &link.port, [&] { pty.send(QByteArray::fromHex("01030000000AC5CD")); });
    });
    QCOMPARE(link.writeChunk(), 0);
}

QTEST_GUILESS_MAIN(LineFaultsTest)
#include "tst_linefaults.moc"
