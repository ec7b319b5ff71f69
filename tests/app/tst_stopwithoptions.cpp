// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

/// Stop and closing on a serial upload, with each of the options that change what it does.
class StopWithOptionsTest : public TestCase
{
    Q_OBJECT

private slots:
    void stop_data();
    void stop();
    void closing_data();
    void closing();

private:
    static void addOptions();
    static QStringList lineFor(const QVariantMap &options);
};

void StopWithOptionsTest::addOptions()
{
    QTest::addColumn<QVariantMap>("options");
    const auto row = [](const char *name, const QString &value) {
        QTest::newRow(name) << QVariantMap{{QString::fromLatin1(name), value}};
    };
    const QString on = QStringLiteral("true");
    QTest::newRow("none") << QVariantMap();
    row("reply_gap", QStringLiteral("50"));
    row("check_reply", on);
    row("port_follows_menu", on);
    row("tell_silent_failures", on);
    row("line_echo", on);
    row("request_pause", QStringLiteral("4"));
    row("trace_frames", on);
    row("check_image", on);
    row("alert_when_done", on);
    row("log_file", on);
    QTest::newRow("all") << QVariantMap{{QStringLiteral("reply_gap"), QStringLiteral("50")},
                                        {QStringLiteral("check_reply"), on},
                                        {QStringLiteral("port_follows_menu"), on},
                                        {QStringLiteral("tell_silent_failures"), on},
                                        {QStringLiteral("line_echo"), on},
                                        {QStringLiteral("request_pause"), QStringLiteral("4")},
                                        {QStringLiteral("trace_frames"), on},
                                        {QStringLiteral("check_image"), on},
                                        {QStringLiteral("alert_when_done"), on},
                                        {QStringLiteral("log_file"), on}};
}

/// The converter that the option is for.
QStringList StopWithOptionsTest::lineFor(const QVariantMap &options)
{
    return options.contains(QStringLiteral("line_echo")) ? QStringList(QStringLiteral("--line-echo"))
                                                         : QStringList();
}

void StopWithOptionsTest::stop_data()
{
    addOptions();
}

void StopWithOptionsTest::stop()
{
    QFETCH(const QVariantMap, options);
    Upload upload(lineFor(options), options);
    verifyStop(upload);
}

void StopWithOptionsTest::closing_data()
{
    addOptions();
}

void StopWithOptionsTest::closing()
{
    QFETCH(const QVariantMap, options);
    Upload upload(lineFor(options), options);
    verifyClosing(upload);
}

QTEST_MAIN(StopWithOptionsTest)
#include "tst_stopwithoptions.moc"
