// SPDX-License-Identifier: MIT
#pragma once

#include "tests/walk/site.h"
#include "tests/walk/step.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>

/// What can be seen of the program from outside, by name: the window, the settings file, the log, the wires.
using View = QMap<QString, QString>;

/// What may become of a frame that is on the line.
enum class Outcome { Good, BadCheck, Exception, Short, Silence, LibraryError };
/// The program as it must be: what it shows, stores, logs and sends after each step, worked out from what is
/// promised to the user and the panel. It knows no widget and no thread. A frame on the line is held there
/// until a step lets it go, so at the end of each step the program does nothing.
class Model
{
public:
    explicit Model(const Site &where) : site(where) { start(); }

    /// The outcome that the number of a "fault" step asks for on a line of this kind.
    static Outcome faultOf(int number, int connectionType);

    /// False, and nothing happens, when nobody could do that now.
    bool apply(const Step &step);
    /// All of it after the step; the log and the wires hold what this step has brought.
    View view() const;

    bool isHeld() const { return held; }
    /// The connection on which the fault of this step was.
    int faultyConnection() const { return faulty; }
    bool hasBox() const { return !modals.isEmpty(); }
    bool hasFileWindow() const { return hasBox() && modals.last().isFileWindow; }
    /// How many frames the close in this step has let go.
    int framesLetGo() const { return closingFrames; }

    // So far: updates, frames, boxes and starts of the program.
    qint64 runs() const { return begun; }
    qint64 frames() const { return heldSoFar; }
    qint64 boxes() const { return shown; }
    qint64 starts() const { return started; }

private:
    // What the settings file has for the connections.
    static constexpr int InfraRed = 1;
    static constexpr int AdapterModbus = 2;
    static constexpr int SerialPort = 3;
    static inline const QString StartText = QStringLiteral("Start Update");

    struct Entry
    {
        QString text;
        int type = 0;
        quint32 vendorId = 0;
    };
    struct Modal
    {
        QString text;
        bool isFileWindow = false;
        bool holdsRun = false; ///< the loader waits for the answer
    };
    /// What a run works with, as it stood when Start was pressed.
    struct Job
    {
        int type = 0;
        QString image;
        QString port;
        int address = 0;
    };
    struct Run
    {
        explicit Run(const Job &chosen) : job(chosen) {}

        Job job;
        QByteArray image;
        int handle = -1;
        bool isConfigured = false;
        qsizetype read = 0; ///< bytes of the image
        QByteArray block = QByteArray(48, '\0');
        int sent = 0;
        int copies = 0; ///< of the frame on the line that are out
        bool isStopped = false;
    };

    // The user
    bool press();
    bool choose(int number);
    bool plugIn(int number);
    bool pullOut(int number);
    bool changeAddress(int number);
    bool openFiles();
    bool closeFiles(const QString &chosen);
    bool type(int number);
    bool pressHotKey();
    bool answer();
    bool close();
    bool changeImage(int number, bool exists);

    // The program
    void start();
    void report(const UsbEvent &event);
    void discover();
    void activate(int entry);
    void showBox(const QString &text, bool holdsRun = false);
    void log(const QString &text);
    void begin(const Job &job);
    bool openAdapter();
    bool openImage();
    void startSending();
    void sendNext();
    void hold(const QString &wire);
    void letGo(Outcome outcome);
    void letFrameGo(Outcome outcome);
    void letRecordGo(Outcome outcome);
    void pieceIsOut();
    void showProgress(int value);
    void fail(const QString &text, int result);
    void end(int result);
    QString frame() const;
    int pieceSize() const { return run->job.type == 1 ? 48 : 32; }
    int pieces() const { return static_cast<int>(run->image.size()) / pieceSize(); }
    bool isPresent(const Site::Device &device) const;

    const Site &site;
    QList<const Site::Device *> present; ///< in the order in which they came
    QStringList missingImages;
    QMap<QString, QString> settings;

    QString buttonText;
    bool buttonEnabled = false;
    bool loadEnabled = true;
    QString field;
    int barValue = 0;
    int barMaximum = 100;
    bool barHasTime = false;
    QString label;
    int shownAddress = 0;
    bool addressEnabled = true;
    QList<Entry> menu;
    int checked = -1;
    QList<Modal> modals; ///< the last one is on top
    bool hasWaitCursor = false;
    bool traceShown = false;
    bool recording = false;
    QStringList trace;

    int connectionType = 0;
    QString portName;
    QString deviceName;
    QString imageFile;
    QString imageFolder;
    int deviceAddress = 0;
    std::optional<Run> run;
    std::optional<Job> waiting;
    bool held = false;
    int handles = 0;
    bool isClosing = false; ///< from here on nothing is shown, and nothing reported is heard
    int closingFrames = 0;
    int faulty = 0;
    qint64 begun = 0;
    qint64 heldSoFar = 0;
    qint64 shown = 0;
    qint64 started = 0;
    QStringList logged;
    QStringList wires;
};
