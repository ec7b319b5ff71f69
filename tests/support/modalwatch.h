// SPDX-License-Identifier: MIT
#pragma once

#include <QApplication>
#include <QLabel>
#include <QList>
#include <QMessageBox>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <utility>

/// Waits for modal boxes of class Box, hands each one to `use` as it appears, and then closes it if it is
/// still open: so a box never blocks a test. Works as long as events go on, which a modal box itself sees to.
template<typename Box> class ModalWatch
{
public:
    explicit ModalWatch(std::function<void(Box &)> useBox) : use(std::move(useBox))
    {
        timer.callOnTimeout([this] { look(); });
        timer.start(PollMs);
    }

    /// How many boxes have appeared.
    int count() const { return seen; }

private:
    static constexpr int PollMs = 5;

    void look()
    {
        auto *const box = qobject_cast<Box *>(QApplication::activeModalWidget());
        if (!box || box == current || !box->isVisible())
            return;
        current = box;
        ++seen;
        use(*box);
        if (current)
            current->close();
    }

    std::function<void(Box &)> use;
    QTimer timer;
    QPointer<Box> current;
    int seen = 0;
};

/// Closes every message box that appears, and remembers what they said.
class MessageBoxes
{
public:
    struct Content
    {
        QString title;
        QString text;
        QString informativeText;
        QMessageBox::Icon icon;
        QMessageBox::StandardButtons buttons;
        Qt::TextFormat informativeFormat;
        const QObject *parent;
    };

    MessageBoxes() : watch([this](QMessageBox &box) { note(box); }) {}

    const QList<Content> &contents() const { return boxes; }
    QStringList informativeTexts() const
    {
        QStringList texts;
        for (const Content &box : boxes)
            texts += box.informativeText;
        return texts;
    }

private:
    void note(const QMessageBox &box)
    {
        const auto *const informative = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel"));
        boxes.append({box.windowTitle(), box.text(), box.informativeText(), box.icon(), box.standardButtons(),
                      informative ? informative->textFormat() : Qt::AutoText, box.parent()});
    }

    QList<Content> boxes;
    ModalWatch<QMessageBox> watch;
};
