// SPDX-License-Identifier: MIT
#include "modbus/modbus.h"
#include "tests/support/bytes.h"
#include "tests/support/messagelog.h"
#include "tests/support/panelprocess.h"
#include "tests/support/testcase.h"

#include <QSerialPort>
#include <QThread>

#include <atomic>
#include <memory>
#include <vector>

namespace {

constexpr int Chunks = 1000;
constexpr int ChunkSize = 32;
/// As long as can be: on a busy machine the panels' processes themselves may be held up.
constexpr int ReplyGapMs = 1000;
constexpr int LongestMs = 280000;

/// An upload on a thread of its own, as a loader makes it, to a panel on a line of the given kind.
class Line
{
public:
    Line(const QString &name, const QByteArray &bytes) : kind(name), image(bytes), panel(name.split(u' ')) {}
    ~Line()
    {
        stop = true;
        if (thread)
            thread->wait();
    }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    void start()
    {
        thread.reset(QThread::create([this, path = panel.path()] { upload(path); }));
        thread->start();
    }
    bool isDone() const { return thread->isFinished(); }
    void verify() const
    {
        QVERIFY2(result == MB_OK,
                 qPrintable(QStringLiteral("%1: result %2 at chunk %3").arg(kind).arg(result).arg(sent)));
        QCOMPARE(sent, Chunks);
        QVERIFY2(panel.image() == image, qPrintable(kind));
    }

private:
    void upload(const QString &path)
    {
        QSerialPort port;
        Modbus modbus;
        QObject::connect(&port, SIGNAL(readyRead()), &modbus, SLOT(getData()));
        port.setPortName(path);
        modbus.setSerialPort(&port);
        modbus.setReplyGap(ReplyGapMs);
        modbus.setReplyChecked(true);
        if (!port.open(QIODevice::ReadWrite))
            return;
        const auto bytes = byteView(image);
        for (result = MB_OK; sent < Chunks && !stop; ++sent) {
            const auto offset = static_cast<std::size_t>(sent) * ChunkSize;
            result = modbus.writeFileRecord(nullptr, 80, 0, static_cast<quint16>(sent), ChunkSize,
                                            bytes.subspan(offset).data());
            if (result != MB_OK)
                return;
        }
    }

    QString kind;
    QByteArray image;
    PanelProcess panel;
    std::unique_ptr<QThread> thread;
    std::atomic<bool> stop = false;
    qint32 result = -1;
    int sent = 0;
};

} // namespace

/// Long uploads over lines that hand replies over piece by piece.
class PacedLinesTest : public TestCase
{
    Q_OBJECT

private slots:
    void aThousandChunksOnEveryLine();
};

void PacedLinesTest::aThousandChunksOnEveryLine()
{
    const QByteArray image = unevenBytes(Chunks * ChunkSize);
    MessageLog log; // keeps the lines about written bytes from the output
    std::vector<std::unique_ptr<Line>> lines;
    for (const char *const kind : {"--paced", "--bursts 8", "--bursts 14", "--bursts 16", "--latency-ms 16"})
        lines.push_back(std::make_unique<Line>(QString::fromLatin1(kind), image));
    for (const auto &line : lines)
        line->start();
    for (const auto &line : lines)
        QTRY_VERIFY_WITH_TIMEOUT(line->isDone(), LongestMs);
    for (const auto &line : lines)
        line->verify();
}

QTEST_GUILESS_MAIN(PacedLinesTest)
#include "tst_pacedlines.moc"
