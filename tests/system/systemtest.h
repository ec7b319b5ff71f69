// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/mockdevices.h"
#include "tests/support/panelprocess.h"
#include "tests/support/settingsfolder.h"
#include "tests/system/desktop.h"
#include "tests/system/updateprogram.h"

#include <QByteArray>
#include <QDir>
#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>

/// What the tests of the whole program start from: one desktop for all functions of a test, and for each
/// function the settings, the devices and the program of a new user. When it is done, the window is closed
/// and the program has to end well. A function that fails leaves a picture of the screen.
class SystemTest : public QObject
{
    Q_OBJECT

protected:
    /// The image goes out in records of so many bytes.
    static constexpr qsizetype RecordSize = 32;
    /// A sanitizer looks at all memory when the program ends, and the machine may be loaded.
    static constexpr int EndTimeoutMs = 30000;
    static constexpr std::optional<int> ExitCodeOfSuccess = 0;

    /// What belongs to one person.
    struct Person
    {
        explicit Person(const Desktop &desktop) : program(desktop) {}

        SettingsFolder settings;
        MockDevices devices;
        QTemporaryDir files{QDir::tempPath() + QStringLiteral("/firmware-XXXXXX")};
        UpdateProgram program;
    };

    UpdateProgram &program() const { return person->program; }
    SettingsFolder &settings() const { return person->settings; }
    MockDevices &devices() const { return person->devices; }

    void startProgram() const { program().start(settings().path()); }
    void pressUpdateButton() const { program().click(program().updateButton()); }
    /// Waits until the update that runs has ended.
    void waitForEndOfUpdate() const;
    /// Plugs in a serial converter whose line leads to the panel, and returns the device's id.
    QString plugIn(const PanelProcess &panel, const QString &port = portName()) const;
    /// Makes an image file of `size` bytes, each record unlike the others.
    QByteArray makeImage(qsizetype size) const;
    /// The same, and it is the image that was chosen last.
    QByteArray rememberImage(qsizetype size) const;
    QString imageFile() const { return filePath(QStringLiteral("panel.INC")); }
    /// In the file dialog; an empty name cancels it.
    void chooseImage(const QString &fileName) const;
    static QByteArray readFile(const QString &fileName);
    static void writeFile(const QString &fileName, const QByteArray &bytes);
    /// A file in this person's own folder.
    QString filePath(const QString &name) const { return person->files.filePath(name); }
    /// Plugs in an adapter, or pulls it out, and has the program find the simulated adapter library.
    void setAdapters(int count) const;

    /// A name that no other test on the machine opens a port under.
    static QString portName();

    std::unique_ptr<Desktop> desktop;
    std::unique_ptr<Person> person;

protected slots:
    void init();

private:
    void endWell() const;
    void leaveTraces() const;

private slots:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();
};
