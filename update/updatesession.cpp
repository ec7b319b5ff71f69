// SPDX-License-Identifier: MIT
// MainWindow: one update, from the choice of its image to its end.
#include "app/mainwindow.h"
#include "connections/connectiontype.h"
#include "modbus/modbus.h"
#include "update/elapsedtext.h"
#include "update/loaderresult.h"

#include <QDebug>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QtConcurrentRun>

#include <utility>

namespace {

/// What the loader returned; a loader that threw has failed.
int loaderResult(const QFuture<int> &future)
{
    try {
        return future.result();
    } catch (...) {
        return LoaderFailed;
    }
}

/// For a result that has no text of its own.
QString silentFailureText(int result)
{
    switch (result) {
    case MB_TX_FAILED:
        return QStringLiteral("The serial port cannot be written or read (result %1)").arg(result);
    case MB_RX_OVERFLOW:
        return QStringLiteral("The panel's reply is too long (result %1)").arg(result);
    case MB_TIMEOUT:
        return QStringLiteral("The panel does not reply (result %1)").arg(result);
    default:
        return QStringLiteral("The update failed (result %1)").arg(result);
    }
}

} // namespace

QString MainWindow::startText()
{
    return QStringLiteral("Start Update");
}

void MainWindow::btnLoadImageClicked()
{
    imageFileName = QFileDialog::getOpenFileName(nullptr, QStringLiteral("Open firmware image"),
                                                 imageDirectory, QStringLiteral("*.INC"));
    if (!imageFileName.isEmpty()) {
        const QString key = QStringLiteral("settings/filename");
        settings->setValue(key, QDir::current().absoluteFilePath(imageFileName));
        settings->sync();
        qDebug().noquote() << settings->value(key).toString();
        lineEdit->setText(imageFileName);
    }
    updBtn->setEnabled(true);
}

void MainWindow::refreshUpdateButton()
{
    updBtn->setEnabled(!lineEdit->text().isEmpty());
}

void MainWindow::stringForUpdateButton(const QString &text)
{
    if (text.isEmpty())
        refreshUpdateButton();
}

void MainWindow::onUpdBtnClicked()
{
    if (lineEdit->text().isEmpty()) {
        updBtn->setEnabled(false);
        showErrorBox(QStringLiteral("Image file not selected!"));
        return;
    }
    progressBar->setValue(0);
    if (updBtn->text().contains(startText()))
        startUpdate();
    else
        stopUpdate();
}

void MainWindow::stopUpdate()
{
    stopRequested = true;
    pendingJob.reset();
    updBtn->setText(startText());
    loadImg->setEnabled(true);
}

void MainWindow::startUpdate()
{
    updBtn->setText(QStringLiteral("Stop"));
    elapsedTimer.start();
    loadImg->setEnabled(false);
    if (!loaderFor(connectionType))
        return;
    pendingJob = UpdateJob{connectionType, imageFileName, portName, deviceAddress};
    // A stopped loader that still runs keeps its stop; the new one begins when it has returned.
    if (!sessionOpen)
        beginPendingUpdate();
}

MainWindow::Loader MainWindow::loaderFor(int type)
{
    switch (type) {
    case ConnectionInfraRed:
        return &MainWindow::irBoot;
    case ConnectionModbusSub20:
    case ConnectionComPort:
        return &MainWindow::modbusBoot;
    default:
        return nullptr;
    }
}

void MainWindow::beginPendingUpdate()
{
    job = *std::exchange(pendingJob, std::nullopt);
    stopRequested = false;
    sessionOpen = true;
    errorTold = false;
    future = QtConcurrent::run([this, loader = loaderFor(job.connectionType)] {
        return closing ? LoaderFailed : (this->*loader)();
    });
    watcher.setFuture(future);
}

void MainWindow::progressBarHandling(int value)
{
    progressBar->setValue(value);
    const QString text = elapsedText(static_cast<quint32>(elapsedTimer.elapsed()));
    if (progressBar->format() == text)
        return;
    progressBar->setFormat(text);
    progressBar->setAccessibleDescription(text); // of the bar itself, a screen reader gets the number alone
}

void MainWindow::handleFinished()
{
    // A loader that threw is both canceled and finished, but its session ends once.
    if (!std::exchange(sessionOpen, false))
        return;
    if (!pendingJob) {
        updBtn->setText(startText());
        loadImg->setEnabled(true);
        if (progressBar->value() != progressBar->maximum())
            progressBar->setValue(0);
        progressBar->setFormat(QString());
        progressBar->setAccessibleDescription(QString());
    }
    const int result = loaderResult(future);
    if (result < 0)
        qDebug("thread canceled with error");
    releaseAdapter();
    QGuiApplication::restoreOverrideCursor();
    const bool isSilent = result > 0 && !errorTold;
    if (pendingJob)
        beginPendingUpdate();
    if (isSilent && options.tellSilentFailures)
        showErrorBox(silentFailureText(result));
}

void MainWindow::releaseAdapter()
{
    if (sub20Handle)
        Sub20::instance().close(sub20Handle);
}

void MainWindow::waitForLoader()
{
    releaseWaitingLoader();
    try {
        watcher.waitForFinished();
    } catch (...) {
        if (sessionOpen) // what the loader threw has no window left to end
            qDebug("thread canceled with error");
    }
    releaseAdapter();
}
