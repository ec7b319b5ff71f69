// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/modalwatch.h"
#include "trace/logbrowserdialog.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QTextBrowser>

/// A trace dialog with access to its parts.
struct Trace
{
    Trace() : dialog(&window, nullptr) {}

    QTextBrowser &browser() const { return *dialog.findChild<QTextBrowser *>(); }
    QString text() const { return browser().toPlainText(); }
    QPushButton &button(const QString &text) const
    {
        for (QPushButton *const button : dialog.findChildren<QPushButton *>()) {
            if (button->text() == text)
                return *button;
        }
        qFatal("no button \"%s\"", qPrintable(text));
    }
    void log(const char *text) { dialog.outputMessage(QtDebugMsg, QString::fromUtf8(text)); }

    QWidget window;
    LogBrowserDialog dialog;
};

/// Chooses a file and closes the save dialog.
inline void acceptFile(QFileDialog &dialog, const QString &fileName)
{
    // Not QFileDialog::selectFile: the name goes in as the user types it.
    dialog.findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(fileName);
    QMetaObject::invokeMethod(&dialog, "accept");
}

/// Chooses a file in the save dialogs; an empty name cancels them.
class SaveChoice
{
public:
    explicit SaveChoice(const QString &fileName)
        : watch([fileName](QFileDialog &dialog) {
              if (fileName.isEmpty())
                  dialog.reject();
              else
                  acceptFile(dialog, fileName);
          })
    {
    }

    int count() const { return watch.count(); }

private:
    ModalWatch<QFileDialog> watch;
};

inline QByteArray contentOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}
