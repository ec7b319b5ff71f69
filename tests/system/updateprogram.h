// SPDX-License-Identifier: MIT
#pragma once

#include "tests/system/accessible.h"

#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

class Desktop;

/// The program as a process of its own on a desktop, used as a person uses it: with the mouse and the
/// keyboard, and looking at what its windows show. What a person waits for, these functions wait for; what
/// does not come fails the running test.
class UpdateProgram
{
public:
    explicit UpdateProgram(const Desktop &desktop);
    /// Ends the program when it has not ended.
    ~UpdateProgram();
    UpdateProgram(const UpdateProgram &) = delete;
    UpdateProgram &operator=(const UpdateProgram &) = delete;

    /// For a start that follows.
    void setVariable(const QString &name, const QString &value) { variables.insert(name, value); }
    /// Starts the program with its settings below `configFolder`, and waits for its window.
    void start(const QString &configFolder);
    /// Closes the window, and waits for the program's end. The exit code; empty when it did not end in time,
    /// or crashed.
    std::optional<int> close(int timeoutMs);
    /// The same, when something else was done to end it.
    std::optional<int> waitForEnd(int timeoutMs);
    /// The processor time that the program has taken up to now.
    std::chrono::milliseconds processorTime() const;
    qint64 processId() const { return process.processId(); }
    /// Holds the program's execution, or lets it go on: what a person does in between, it finds all at once.
    void freeze() const;
    void thaw() const;
    /// Ends the program without asking it.
    void kill();
    /// What the program has printed up to now.
    QString printed();

    Accessible mainWindow() const;
    /// A top-level window; a null object when there is none with the title.
    Accessible window(const QString &title) const;
    Accessible updateButton() const { return mainWindow().all(Accessible::Role::PushButton).value(0); }
    Accessible loadButton() const { return mainWindow().all(Accessible::Role::PushButton).value(1); }
    Accessible addressBox() const { return mainWindow().first(Accessible::Role::SpinBox); }
    Accessible addressCaption() const
    {
        return mainWindow().first(Accessible::Role::Label, QStringLiteral("Address:"));
    }
    Accessible fileField() const { return mainWindow().first(Accessible::Role::Text); }
    Accessible progressBar() const { return mainWindow().first(Accessible::Role::ProgressBar); }
    Accessible statusLabel() const { return mainWindow().first(Accessible::Role::Label); }
    bool isUpdating() const { return updateButton().name() == QStringLiteral("Stop"); }
    bool isIdle() const { return updateButton().name() == QStringLiteral("Start Update"); }
    /// The progress in percent; an empty range counts as 0.
    double percent() const;

    /// The menu's title in the menu bar.
    Accessible connectionMenu() const;
    /// The entries of the connection menu.
    QStringList connections() const;
    /// The entries that have a check mark.
    QStringList checkedConnections() const;
    void chooseConnection(const QString &name) const;

    void click(const Accessible &object) const;
    /// Brings a window to the front and gives it the keyboard.
    void raise(const Accessible &window) const;
    void press(const QString &keys) const;
    void type(const QString &text) const;
    /// Replaces what an input field holds by typing.
    void fill(const Accessible &field, const QString &text) const;
    /// Waits for a file dialog, types a path and presses Enter. An empty path cancels the dialog.
    void answerFileDialog(const QString &title, const QString &path) const;

    /// The message box that is open; a null object when none is.
    Accessible box() const;
    /// Its texts; none when no box is open.
    QStringList boxTexts() const;
    /// Closes the message box with its one button.
    void closeBox() const;

    /// The part of the screen that an object takes.
    QImage picture(const Accessible &object) const;

private:
    Accessible application() const;

    const Desktop &desktop;
    QProcessEnvironment variables;
    QProcess process;
    QByteArray output;
    mutable Accessible root;
};
