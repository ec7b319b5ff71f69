// SPDX-License-Identifier: MIT
#include "tests/app/upload.h"
#include "tests/support/testcase.h"

/// The pause before each request of a real update, as the panel has it, with the key request_pause and
/// without.
class RequestPauseUploadTest : public TestCase
{
    Q_OBJECT

private slots:
    void theShortestOnTheWire_data();
    void theShortestOnTheWire();
};

void RequestPauseUploadTest::theShortestOnTheWire_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("leastMs");
    QTest::newRow("no key") << QString() << 50;
    for (const int ms : {4, 10, 49, 50})
        QTest::addRow("%d", ms) << QString::number(ms) << ms;
    for (const char *const value : {"3", "51", "0", "-1", "10 ms", ""})
        QTest::addRow("refused: %s", value) << QString::fromLatin1(value) << 50;
}

void RequestPauseUploadTest::theShortestOnTheWire()
{
    QFETCH(const QString, value);
    QFETCH(const int, leastMs);
    const QByteArray image = makeBytes(20 * ChunkSize);
    Upload upload({}, value.isNull() ? QVariantMap() : QVariantMap{{QStringLiteral("request_pause"), value}});
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.panel.image(), image);
    const int leastUs = upload.panel.finish().value(QStringLiteral("lowest-gap-us"));
    QVERIFY2(leastUs >= leastMs * 1000, qPrintable(QString::number(leastUs)));
}

QTEST_MAIN(RequestPauseUploadTest)
#include "tst_requestpauseupload.moc"
