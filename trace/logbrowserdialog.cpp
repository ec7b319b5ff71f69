// SPDX-License-Identifier: MIT
#include "trace/logbrowserdialog.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBrowser>
#include <QTextStream>
#include <QVBoxLayout>

namespace {

constexpr QRect InitialGeometry(300, 300, 300, 300);
constexpr int ButtonRowStretch = 10;

} // namespace

LogBrowserDialog::LogBrowserDialog(const QWidget *styleSource, QWidget *parent) : QDialog(parent)
{
    setWindowTitle(tr("Trace"));
    auto *const rows = new QVBoxLayout;
    setLayout(rows);
    browser = new QTextBrowser(this);
    browser->setAccessibleName(tr("Log messages"));
    for (QScrollBar *const bar : {browser->verticalScrollBar(), browser->horizontalScrollBar()})
        bar->setAccessibleName(browser->accessibleName());
    rows->addWidget(browser);
    setWindowFlags(Qt::Tool);

    auto *const buttons = new QHBoxLayout;
    buttons->setContentsMargins(0, 0, 0, 0);
    rows->addLayout(buttons);
    buttons->addStretch(ButtonRowStretch);
    clearButton = addButton(tr("Clear"), buttons);
    connect(clearButton, &QPushButton::clicked, this, [this] { beforeClearing(); });
    connect(clearButton, SIGNAL(clicked()), browser, SLOT(clear()));
    saveButton = addButton(tr("Save Trace"), buttons);
    connect(saveButton, SIGNAL(clicked()), this, SLOT(save()));

    setStyleSheet(styleSource->styleSheet());
    setGeometry(InitialGeometry);
}

QPushButton *LogBrowserDialog::addButton(const QString &text, QLayout *layout)
{
    auto *const button = new QPushButton(text, this);
    button->setProperty("configButton", true); // the window's style sheet can select these buttons by it
    button->setAutoDefault(false);             // Enter would clear the trace
    layout->addWidget(button);
    return button;
}

void LogBrowserDialog::outputMessage(QtMsgType type, const QString &message)
{
    switch (type) {
    case QtDebugMsg:
    case QtInfoMsg:
        browser->append(message);
        break;
    case QtWarningMsg:
        browser->append(tr("— WARNING: %1").arg(message));
        break;
    case QtCriticalMsg:
        browser->append(tr("— CRITICAL: %1").arg(message));
        break;
    case QtFatalMsg:
        browser->append(tr("— FATAL: %1").arg(message));
        break;
    }
}

void LogBrowserDialog::save()
{
    // The first filter's pattern is meant to be three apostrophes and ".txt", not a wildcard.
    const QString fileName =
        QFileDialog::getSaveFileName(this, tr("Save Log Output"), tr("%1/logfile.txt").arg(QDir::homePath()),
                                     tr("Text Files ('''.txt);;All Files (*)"));
    if (fileName.isEmpty())
        return;

    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly)) {
        QMessageBox::warning(this, tr("Error"),
                             tr("<nobr>File '%1'<br/>cannot be opened for writing.<br/><br/>"
                                "The log output could <b>not</b> be saved!</nobr>")
                                 .arg(fileName));
        return;
    }
    QTextStream stream(&file);
    beforeSaving();
    stream << browser->toPlainText();
}

void LogBrowserDialog::keyCtrlDPressed()
{
    setVisible(isHidden());
}
