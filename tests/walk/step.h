// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QRandomGenerator>
#include <QString>

#include <optional>

/// What happens to the program in one step of a walk, as one line of text: a word and a number that says
/// which entry, which device, which file, how often.
struct Step
{
    enum class Kind {
        Press,       ///< the update button
        Choose,      ///< an entry of the menu
        PlugIn,      ///< a device of the site, see Site::device()
        PullOut,     ///< the same
        Notice,      ///< of a device about which nothing has changed, see Site::notice()
        Address,     ///< 0 one up, 1 one down, otherwise typed
        OpenFiles,   ///< the button that opens the file window
        PickFile,    ///< in the file window
        CancelFiles, ///< the file window
        Type,        ///< into the file field; 0 empties it
        HotKey,      ///< of the trace
        ClearTrace,
        CloseTrace,   ///< by its title bar
        Answer,       ///< the error box on top
        LetGo,        ///< so many frames that are held on the line
        Fault,        ///< the held frame goes wrong
        RemoveImage,  ///< the file is gone
        RestoreImage, ///< and is there again
        Close,        ///< the window, and start the program again
    };

    Kind kind = Kind::Press;
    int number = 0;

    QString text() const;
};

/// Nothing for a line that is no step.
std::optional<Step> stepOf(const QString &line);
/// The steps in a file, one a line; an empty line or one that begins with "#" is none.
QList<Step> readSteps(const QString &fileName);
bool writeSteps(const QList<Step> &steps, const QString &fileName);
Step drawStep(QRandomGenerator &random);
