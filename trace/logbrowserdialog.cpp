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
constexpr qint64 TurnMs = 30;

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
    connect(clearButton, SIGNAL(clicked()), browser, SLOT(clear()));
    connect(clearButton, &QPushButton::clicked, this, [this] { pending.clear(); });
    saveButton = addButton(tr("Save Trace"), buttons);
    connect(saveButton, SIGNAL(clicked()), this, SLOT(save()));

    turn.setSingleShot(true);
    connect(&turn, &QTimer::timeout, this, &LogBrowserDialog::appendPending);

    setStyleSheet(styleSource->styleSheet());
    setGeometry(InitialGeometry);
}

QPushButton *LogBrowserDialog::addButton(const QString &text, QLayout *layout)
{
    auto *const button = new QPushButton(text, this);
    button->setProperty("configButton", true); // the window's style sheet can select these buttons by it
    layout->addWidget(button);
    return button;
}

void LogBrowserDialog::outputMessage(QtMsgType type, const QString &message)
{
    switch (type) {
    case QtDebugMsg:
    case QtInfoMsg:
        append(message);
        break;
    case QtWarningMsg:
        append(tr("— WARNING: %1").arg(message));
        break;
    case QtCriticalMsg:
        append(tr("— CRITICAL: %1").arg(message));
        break;
    case QtFatalMsg:
        append(tr("— FATAL: %1").arg(message));
        break;
    }
}

void LogBrowserDialog::append(const QString &text)
{
    if (!turn.isActive()) { // the first message of this turn
        turnTime.start();
        turn.start();
    }
    if (pending.isEmpty() && turnTime.elapsed() < TurnMs)
        browser->append(text);
    else
        pending += text;
}

void LogBrowserDialog::appendPending()
{
    turnTime.start();
    qsizetype appended = 0;
    while (appended < pending.size() && turnTime.elapsed() < TurnMs)
        browser->append(pending.at(appended++));
    pending.remove(0, appended);
    if (!pending.isEmpty())
        turn.start();
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
    while (!pending.isEmpty()) // the trace is saved whole
        appendPending();
    stream << browser->toPlainText();
}

void LogBrowserDialog::keyCtrlDPressed()
{
    setVisible(isHidden());
}
