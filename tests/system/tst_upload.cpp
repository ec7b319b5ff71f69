// SPDX-License-Identifier: MIT
#include "tests/system/screentext.h"
#include "tests/system/systemtest.h"

#include <QElapsedTimer>
#include <QTest>

using State = Accessible::State;

namespace {

constexpr double Full = 100;
/// From here on the bar is filled behind its text.
constexpr double BehindText = 80;
constexpr qint64 MillisecondsPerSecond = 1000;

QString elapsed(qint64 seconds)
{
    return QStringLiteral("Elapsed time: 00:%1").arg(seconds, 2, 10, QLatin1Char('0'));
}

} // namespace

/// Firmware images loaded into a panel on a serial line.
class SystemUpload : public SystemTest
{
    Q_OBJECT

    static constexpr qsizetype ShortImage = 9 * RecordSize;

private slots:
    void imageArrivesByteForByte();
    void imageIsChosenInTheFileDialog();
    void cancelledFileDialogLeavesTheNameButNoImage();
    void portIsChosenInTheMenu();
    void addressIsTypedIntoTheBox();
    void aLineThatTricklesNeedsTheReplyGap();
};

void SystemUpload::imageArrivesByteForByte()
{
    constexpr qsizetype Records = 60;
    const PanelProcess panel;
    plugIn(panel);
    const QByteArray image = rememberImage(Records * RecordSize);
    startProgram();
    QCOMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + portName());
    QTRY_VERIFY(hasWritingIn(QColor("green"), program().picture(program().statusLabel())));
    QCOMPARE(program().fileField().text(), imageFile());
    QTRY_VERIFY(barShows(program().picture(program().progressBar()), QString()));

    QElapsedTimer clock;
    clock.start();
    pressUpdateButton();
    QTRY_VERIFY(program().isUpdating());
    QVERIFY(!program().loadButton().is(State::Enabled));
    QTRY_VERIFY(program().percent() > BehindText);
    const QImage bar = program().picture(program().progressBar());
    bool showsTime = false;
    for (qint64 seconds = 1; seconds <= clock.elapsed() / MillisecondsPerSecond; ++seconds)
        showsTime = showsTime || barShows(bar, elapsed(seconds));
    QVERIFY(showsTime);

    waitForEndOfUpdate();
    QVERIFY(program().loadButton().is(State::Enabled));
    QCOMPARE(program().percent(), Full);
    QTRY_VERIFY(barShows(program().picture(program().progressBar()), QString()));
    QCOMPARE(panel.image(), image);
}

void SystemUpload::imageIsChosenInTheFileDialog()
{
    const PanelProcess panel;
    plugIn(panel);
    const QByteArray image = makeImage(ShortImage);
    startProgram();
    QVERIFY(!program().updateButton().is(State::Enabled));

    chooseImage(imageFile());
    QTRY_COMPARE(program().fileField().text(), imageFile());
    QVERIFY(program().updateButton().is(State::Enabled));
    QCOMPARE(settings().value(QStringLiteral("settings/filename")).toString(), imageFile());
    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    waitForEndOfUpdate();
}

void SystemUpload::cancelledFileDialogLeavesTheNameButNoImage()
{
    const PanelProcess panel;
    plugIn(panel);
    rememberImage(ShortImage);
    startProgram();
    chooseImage(QString());
    QCOMPARE(program().fileField().text(), imageFile());

    pressUpdateButton();
    QTRY_COMPARE(program().boxTexts(),
                 QStringList({QStringLiteral("Error:"),
                              QStringLiteral("Can't open image file  No such file or directory")}));
    program().closeBox();
    QTRY_VERIFY(program().isIdle());
    QVERIFY(panel.image().isEmpty());
}

void SystemUpload::portIsChosenInTheMenu()
{
    const PanelProcess panel;
    const PanelProcess otherPanel;
    plugIn(panel);
    const QString other = portName() + u'1';
    plugIn(otherPanel, other);
    const QByteArray image = rememberImage(ShortImage);
    startProgram();
    QCOMPARE(program().connections(), QStringList({portName(), other}));
    QCOMPARE(program().checkedConnections(), QStringList(portName()));

    program().chooseConnection(other);
    QTRY_COMPARE(program().statusLabel().name(), QStringLiteral("Connection via ") + other);
    QCOMPARE(program().checkedConnections(), QStringList(other));
    QCOMPARE(settings().value(QStringLiteral("settings/port")).toString(), other);

    // The port that is opened is the one that the menu's last rebuild selected.
    QCOMPARE(program().close(EndTimeoutMs), ExitCodeOfSuccess);
    startProgram();
    QCOMPARE(program().checkedConnections(), QStringList(other));
    pressUpdateButton();
    QTRY_COMPARE(otherPanel.image(), image);
    waitForEndOfUpdate();
    QVERIFY(panel.image().isEmpty());
}

void SystemUpload::addressIsTypedIntoTheBox()
{
    PanelProcess panel({QStringLiteral("--address"), QStringLiteral("0x42")});
    plugIn(panel);
    const QByteArray image = rememberImage(ShortImage);
    startProgram();
    QCOMPARE(program().addressBox().text(), QStringLiteral("0x50"));
    program().fill(program().addressBox(), QStringLiteral("42"));
    QTRY_COMPARE(program().addressBox().text(), QStringLiteral("0x42"));
    QTRY_COMPARE(settings().value(QStringLiteral("settings/address")).toInt(), 0x42);

    pressUpdateButton();
    QTRY_COMPARE(panel.image(), image);
    waitForEndOfUpdate();
    QCOMPARE(panel.finish().value(QStringLiteral("other-address")), 0);
    QCOMPARE(program().close(EndTimeoutMs), ExitCodeOfSuccess);
    startProgram();
    QCOMPARE(program().addressBox().text(), QStringLiteral("0x42"));
}

void SystemUpload::aLineThatTricklesNeedsTheReplyGap()
{
    const PanelProcess panel({QStringLiteral("--bursts"), QStringLiteral("14")});
    plugIn(panel);
    const QByteArray image = rememberImage(ShortImage);
    // As long as can be: on a busy machine the panel's process itself may be held up.
    const QString gap = QStringLiteral("1000");
    settings().setValue(QStringLiteral("options/reply_gap"), gap);
    startProgram();
    pressUpdateButton();
    QTRY_COMPARE_WITH_TIMEOUT(panel.image(), image, 60000);
    waitForEndOfUpdate();
    QCOMPARE(program().percent(), Full);
    QCOMPARE(program().boxTexts(), QStringList());
    QCOMPARE(settings().value(QStringLiteral("options/reply_gap")).toString(), gap);
}

QTEST_MAIN(SystemUpload)
#include "tst_upload.moc"
