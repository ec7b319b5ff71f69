// SPDX-License-Identifier: MIT
#include "tests/system/screentext.h"
#include "tests/system/systemtest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSerialPort>
#include <QTest>

#include <chrono>
#include <optional>

using namespace std::chrono_literals;
using State = Accessible::State;

namespace {

constexpr qsizetype ManyRecords = 200;
/// A reply is waited for 10 s: what has ended before has not waited for one.
constexpr int BeforeTimeoutMs = 9000;

QStringList errorBox(const QString &text)
{
    return {QStringLiteral("Error:"), text};
}

/// The processes whose settings lie in the folder.
QStringList processesWith(const QString &configFolder)
{
    QStringList found;
    const QStringList processes = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &process : processes) {
        QFile environment(QStringLiteral("/proc/%1/environ").arg(process));
        if (environment.open(QIODevice::ReadOnly) && environment.readAll().contains(configFolder.toUtf8()))
            found += process;
    }
    return found;
}

} // namespace

/// Updates that do not reach their end, or do not even begin.
class SystemInterruptions : public SystemTest
{
    Q_OBJECT

private slots:
    void stopLeavesWholeRecordsAndStartBeginsAgain();
    void badReplyEndsTheUpdateWithABox_data();
    void badReplyEndsTheUpdateWithABox();
    void unpluggedCableEndsTheUpdateAtOnce();
    void converterThatIsPulledOutEndsTheUpdateAtOnce();
    void windowIsClosedDuringAnUpdate();
    void vanishedImageIsReported();
    void vanishedPortIsReported();
    void busyPortIsReported();
    void startWithoutAnImageIsRefused();

private:
    /// Presses "Start Update", and waits for the error box and then for the end of the update.
    void startAndExpectBox(const QString &text) const;
    void expectEmptyBar() const;
};

void SystemInterruptions::startAndExpectBox(const QString &text) const
{
    pressUpdateButton();
    QTRY_COMPARE(program().boxTexts(), errorBox(text));
    program().closeBox();
    QTRY_VERIFY(program().isIdle());
    expectEmptyBar();
}

void SystemInterruptions::expectEmptyBar() const
{
    QCOMPARE(program().percent(), 0.0);
    QTRY_VERIFY(barShows(program().picture(program().progressBar()), QString()));
}

void SystemInterruptions::stopLeavesWholeRecordsAndStartBeginsAgain()
{
    const PanelProcess panel;
    plugIn(panel);
    const QByteArray image = rememberImage(40 * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel.waitForRecords(10));
    QTRY_VERIFY(program().isUpdating());
    pressUpdateButton();
    QTRY_VERIFY(program().isIdle());
    QVERIFY(program().loadButton().is(State::Enabled));
    expectEmptyBar();
    const QByteArray received = panel.image();
    QCOMPARE_LT(received.size(), image.size());
    QCOMPARE(received.size() % RecordSize, 0);
    QCOMPARE(received, image.first(received.size()));

    pressUpdateButton();
    QTRY_VERIFY(program().isUpdating());
    waitForEndOfUpdate();
    QCOMPARE(panel.image(), image);
}

void SystemInterruptions::badReplyEndsTheUpdateWithABox_data()
{
    QTest::addColumn<QStringList>("misbehaviour");
    QTest::addColumn<QString>("text");

    QTest::newRow("exception") << QStringList{QStringLiteral("--exception"), QStringLiteral("4")}
                               << QStringLiteral("Modbus Exception: Slave Device Failure");
    QTest::newRow("damaged") << QStringList{QStringLiteral("--flip-crc")} << QStringLiteral("CRC error");
    QTest::newRow("cut off") << QStringList{QStringLiteral("--cut"), QStringLiteral("2")}
                             << QStringLiteral("Frame incomplete (sz=2)\n");
}

void SystemInterruptions::badReplyEndsTheUpdateWithABox()
{
    QFETCH(QStringList, misbehaviour);
    QFETCH(QString, text);
    const PanelProcess panel(misbehaviour +
                             QStringList{QStringLiteral("--from-record"), QStringLiteral("2")});
    plugIn(panel);
    rememberImage(ManyRecords * RecordSize);
    startProgram();
    startAndExpectBox(text);
    QCOMPARE_LE(panel.image().size(), 3 * RecordSize);
}

void SystemInterruptions::unpluggedCableEndsTheUpdateAtOnce()
{
    constexpr int MomentMs = 1000;
    const PanelProcess panel(
        {QStringLiteral("--hang-up"), QStringLiteral("--from-record"), QStringLiteral("6")});
    plugIn(panel);
    rememberImage(ManyRecords * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel.waitForRecords(6));
    QTRY_VERIFY_WITH_TIMEOUT(program().isIdle(), BeforeTimeoutMs);
    QCOMPARE(program().boxTexts(), QStringList());
    expectEmptyBar();

    // A loop that never rests would take the whole second.
    const auto before = program().processorTime();
    QTest::qWait(MomentMs);
    QCOMPARE_LT(program().processorTime() - before, 200ms);
}

void SystemInterruptions::converterThatIsPulledOutEndsTheUpdateAtOnce()
{
    auto panel = std::make_optional<PanelProcess>();
    const QString device = plugIn(*panel);
    rememberImage(ManyRecords * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel->waitForRecords(5));
    QTRY_VERIFY(program().isUpdating());
    panel.reset(); // the line is dead
    devices().remove(device);
    QTRY_VERIFY_WITH_TIMEOUT(program().isIdle(), BeforeTimeoutMs);
    QTRY_COMPARE(program().statusLabel().name(), QStringLiteral("No Available Connections"));
    QCOMPARE(program().boxTexts(), QStringList());
}

void SystemInterruptions::windowIsClosedDuringAnUpdate()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(ManyRecords * RecordSize);
    startProgram();
    pressUpdateButton();
    QVERIFY(panel.waitForRecords(5));
    QCOMPARE(program().close(EndTimeoutMs), ExitCodeOfSuccess);
    QCOMPARE(panel.image().size() % RecordSize, 0);
    QCOMPARE_LT(panel.image().size(), ManyRecords * RecordSize);
    QCOMPARE(processesWith(settings().path()), QStringList());
}

void SystemInterruptions::vanishedImageIsReported()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(RecordSize);
    startProgram();
    QVERIFY(QFile::remove(imageFile()));
    startAndExpectBox(QStringLiteral("Can't open image file %1 No such file or directory").arg(imageFile()));
}

void SystemInterruptions::vanishedPortIsReported()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(RecordSize);
    startProgram();
    devices().unlinkNode(portName());
    startAndExpectBox(QStringLiteral("No such file or directory"));
}

void SystemInterruptions::busyPortIsReported()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(RecordSize);
    startProgram();
    QSerialPort otherUser(portName());
    QVERIFY(otherUser.open(QIODevice::ReadWrite));
    startAndExpectBox(QStringLiteral("Permission error while locking the device"));
}

void SystemInterruptions::startWithoutAnImageIsRefused()
{
    const PanelProcess panel;
    plugIn(panel);
    startProgram();
    chooseImage(QString());
    QTRY_VERIFY(program().updateButton().is(State::Enabled));
    startAndExpectBox(QStringLiteral("Image file not selected!"));
    QVERIFY(!program().updateButton().is(State::Enabled));
}

QTEST_MAIN(SystemInterruptions)
#include "tst_interruptions.moc"
