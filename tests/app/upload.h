// SPDX-License-Identifier: MIT
#pragma once

#include "connections/connection.h"
#include "tests/support/adapterchecks.h"
#include "tests/support/emitterlog.h"
#include "tests/support/messagelog.h"
#include "tests/support/modalwatch.h"
#include "tests/support/panelprocess.h"

#include <QByteArray>
#include <QLineEdit>
#include <QPushButton>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

inline constexpr int ChunkSize = 32;

/// Bytes that differ from record to record.
inline QByteArray makeBytes(int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(i * 7 + i / ChunkSize);
    return bytes;
}

/// What the panel holds after an upload of `image`: an odd end is filled up to a whole register.
inline QByteArray received(QByteArray image)
{
    return image.size() % 2 != 0 ? image.append('\0') : image;
}

/// The signals of an upload that succeeds.
inline QStringList signalsFor(int size)
{
    const int total = size / ChunkSize;
    return signalsOfSending(total, (size + ChunkSize - 1) / ChunkSize) +
           QStringList{QStringLiteral("load_progress %1").arg(total)};
}

/// A window with a panel at its serial port, watched while it uploads.
struct Upload
{
    /// `options` are keys and values of the settings file's group of that name, where all values are text.
    explicit Upload(const QStringList &panelArguments = {}, const QVariantMap &options = {})
        : panel(panelArguments)
    {
        for (auto option = options.begin(); option != options.end(); ++option)
            bench.settings.setValue(QStringLiteral("options/") + option.key(), option.value().toString());
        bench.start();
        bench.probe().setConnectionType(ConnectionComPort);
        bench.probe().setPortName(panel.path());
        bench.widget<QPushButton>("updBtn")->setEnabled(true);
    }

    void begin(const QByteArray &image) { beginFile(bench.makeImage(image)); }
    void beginFile(const QString &fileName)
    {
        bench.widget<QLineEdit>("lineEdit")->setText(QStringLiteral("image"));
        bench.probe().setImageFileName(fileName);
        emitter = std::make_unique<EmitterLog>(*bench.probe().emitter());
        bench.press();
    }
    /// Begins and waits for the end; the loader's result.
    int run(const QByteArray &image)
    {
        begin(image);
        return finish();
    }
    int runFile(const QString &fileName)
    {
        beginFile(fileName);
        return finish();
    }
    int finish()
    {
        if (!bench.waitForEnd())
            QTest::qFail("the upload does not end", __FILE__, __LINE__);
        QCoreApplication::processEvents(); // error boxes that are still on their way
        return bench.probe().future().result();
    }
    QStringList lines() const { return emitter->lines(); }

    WindowBench bench;
    PanelProcess panel;
    MessageLog log;
    MessageBoxes boxes;
    std::unique_ptr<EmitterLog> emitter;
};

/// Starts an upload that is far from its end, and waits until the panel has got something.
inline void beginLongUpload(Upload &upload)
{
    upload.begin(makeBytes(2000 * ChunkSize));
    QTRY_VERIFY(upload.lines().size() >= 2);
}

/// Stop ends a run without a box, and the next one sends its whole image.
inline void verifyStop(Upload &upload)
{
    beginLongUpload(upload);
    upload.bench.press();
    QCOMPARE(upload.finish(), -1);
    QCOMPARE(upload.log.count(CanceledText), 1);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
    verifySessionEnded(upload.bench, false);
    const QByteArray image = makeBytes(10 * ChunkSize);
    QCOMPARE(upload.run(image), 0);
    QCOMPARE(upload.panel.image().left(image.size()), image);
}

/// The window that is closed ends its run before it goes.
inline void verifyClosing(Upload &upload)
{
    beginLongUpload(upload);
    const QFuture<int> future = upload.bench.probe().future();
    upload.emitter.reset();
    upload.bench.close();
    QVERIFY(future.isFinished());
    QCOMPARE(future.result(), -1);
    QCOMPARE(upload.boxes.informativeTexts(), QStringList());
}
