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
    void aShorterOneIsShorter();

private:
    /// The shortest pause in an update, in µs.
    static int shortestUs(const QVariantMap &options)
    {
        const QByteArray image = makeBytes(20 * ChunkSize);
        Upload upload({}, options);
        [&] {
            QCOMPARE(upload.run(image), 0);
            QCOMPARE(upload.panel.image(), image);
        }();
        return upload.panel.finish().value(QStringLiteral("lowest-gap-us"));
    }
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
    const int leastUs =
        shortestUs(value.isNull() ? QVariantMap() : QVariantMap{{QStringLiteral("request_pause"), value}});
    QVERIFY2(leastUs >= leastMs * 1000, qPrintable(QString::number(leastUs)));
}

// On a busy machine a pause only seems longer: one of many is enough.
void RequestPauseUploadTest::aShorterOneIsShorter()
{
    constexpr int DefaultUs = 50'000;
    constexpr int MostUpdates = 10;
    int leastUs = DefaultUs;
    for (int update = 0; update < MostUpdates && leastUs >= DefaultUs; ++update)
        leastUs = shortestUs({{QStringLiteral("request_pause"), QStringLiteral("4")}});
    QCOMPARE_LT(leastUs, DefaultUs);
}

QTEST_MAIN(RequestPauseUploadTest)
#include "tst_requestpauseupload.moc"
