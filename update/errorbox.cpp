// SPDX-License-Identifier: MIT
// MainWindow: the error box.
#include "app/mainwindow.h"

#include <QAbstractButton>
#include <QDebug>
#include <QLabel>
#include <QMessageBox>
#include <QThread>

void MainWindow::reportError(const QString &errTxt)
{
    if (QThread::currentThread() != thread()) {
        reportErrorFromLoader(errTxt);
        return;
    }
    errorTold = true;
    showErrorBox(errTxt);
}

void MainWindow::showErrorBox(const QString &errTxt)
{
    qDebug().noquote() << errTxt;
    if (closing)
        return;
    QMessageBox box(QMessageBox::Critical, QString(), tr("Error:"), QMessageBox::Close);
    box.setInformativeText(errTxt);
    box.setAccessibleName(box.text());
    box.setAccessibleDescription(errTxt);
    // A file name is shown as it stands, even one that looks like markup. The box has no call for that.
    if (auto *const label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel")))
        label->setTextFormat(Qt::PlainText);
    connect(box.button(QMessageBox::Close), SIGNAL(clicked()), this, SLOT(handleMessageBoxButton()),
            Qt::QueuedConnection);
    box.exec();
}

void MainWindow::handleMessageBoxButton()
{
    // Closing the box is all that its button does.
}

/// Qt's widgets live on the GUI thread: it shows the box, and the loader waits until the box is closed, or
/// until the window goes down without having shown it.
void MainWindow::reportErrorFromLoader(const QString &errTxt)
{
    const auto closed = std::make_shared<bool>(false);
    const auto show = [this, errTxt, closed] {
        reportError(errTxt);
        const QMutexLocker lock(&errorBoxMutex);
        *closed = true;
        errorBoxClosed.wakeAll();
    };
    QMetaObject::invokeMethod(this, show, Qt::QueuedConnection);
    const QMutexLocker lock(&errorBoxMutex);
    while (!*closed && !closing)
        errorBoxClosed.wait(&errorBoxMutex);
}

void MainWindow::releaseWaitingLoader()
{
    const QMutexLocker lock(&errorBoxMutex);
    closing = true;
    errorBoxClosed.wakeAll();
}
