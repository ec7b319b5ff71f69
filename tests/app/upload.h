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
