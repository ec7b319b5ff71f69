// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>
#include <QString>

/// A picture of the user guide, docs/images/NAME.png. A test that has the program before it takes the picture
/// anew and fails when the guide's looks different; run by tools/screenshots, it replaces the guide's.
class GuidePicture
{
public:
    explicit GuidePicture(const QString &pictureName) : name(pictureName) {}

    /// The pictures are being replaced, and need not look like those of the guide.
    static bool areReplaced();
    /// True when the guide's picture has this one's size and at most `tolerance` of its dots, 0 to 1, are of
    /// another colour; always true while the pictures are being replaced.
    bool looksLike(const QImage &taken, double tolerance = 0) const;
    /// Replaces the guide's picture or fails the running test when it looks different; then `taken` is left
    /// in the build folder.
    void use(const QImage &taken, double tolerance = 0) const;

private:
    QString fileName() const;

    QString name;
};
