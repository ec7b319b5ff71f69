// SPDX-License-Identifier: MIT
// MainWindow: one update, from the choice of its image to its end, and the error box.
#include "app/bartext.h"
#include "app/mainwindow.h"
#include "app/settingskeys.h"
#include "connections/connection.h"
#include "log/logmessages.h"
#include "modbus/modbusloader.h"
#include "modbus/modbusresult.h"
#include "update/elapsedtext.h"
#include "update/imagecheck.h"
#include "update/infraredloader.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>

#include <optional>

void MainWindow::btnLoadImageClicked()
{
    imageFileName = QFileDialog::getOpenFileName(nullptr, QStringLiteral("Open firmware image"),
                                                 imageDirectory, QStringLiteral("*.INC"));
    if (!imageFileName.isEmpty()) {
        settings->setValue(settingskey::FileName, QDir::current().absoluteFilePath(imageFileName));
        settings->sync();
        qDebug().noquote() << settings->value(settingskey::FileName).toString();
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
    if (updBtn->text().contains(StartText)) {
        startUpdate();
        return;
    }
    session.stop();
    updBtn->setText(StartText);
    loadImg->setEnabled(true);
}

void MainWindow::startUpdate()
{
    updBtn->setText(QStringLiteral("Stop"));
    elapsedTimer.start();
    loadImg->setEnabled(false);
    const ConnectionKind *const kind = connectionKind(connectionType);
    if (!kind) {
        logNote(QStringLiteral("no connection is chosen: nothing is sent"));
        session.forgetStop();
        return;
    }
    const UpdateJob choices{connectionType, imageFileName, portName,
                            deviceAddress,  options.link,  options.checkImage};
    session.start([this, choices, loader = kind->loader] {
        job = choices;
        return logBook.run.watch(job, stopRequested, [this, loader] { return runLoader(loader); });
    });
    stayAwake->hold();
}

int MainWindow::runLoader(ConnectionLoader loader)
{
    const qint64 most = loader == ConnectionLoader::Modbus ? ModbusLoader::MaxImageSize : AnyImageSize;
    if (const int result = checkImage(loaderContext(), most); result != LoaderDone)
        return result;
    switch (loader) {
    case ConnectionLoader::InfraRed:
        return irBoot();
    case ConnectionLoader::Modbus:
        return modbusBoot();
    }
    return LoaderFailed;
}

int MainWindow::irBoot()
{
    return InfraredLoader(loaderContext(), irProtocolVariant).run();
}

int MainWindow::modbusBoot()
{
    const ConnectionKind *const kind = connectionKind(job.connectionType);
    ModbusLoader::Link link = ModbusLoader::Link::None;
    if (kind && kind->loader == ConnectionLoader::Modbus)
        link = kind->device == ConnectionDevice::Sub20 ? ModbusLoader::Link::Sub20
                                                       : ModbusLoader::Link::SerialPort;
    return ModbusLoader(loaderContext(), link).run();
}

LoaderContext MainWindow::loaderContext()
{
    return {job,
            *emitter,
            stopRequested,
            hardware.adapter,
            sub20Handle,
            *this,
            [this](const QString &text) { reportError(text); },
            [this] { // the cursor belongs to the GUI thread; handleFinished() restores it
                QMetaObject::invokeMethod(this, [] { QGuiApplication::setOverrideCursor(Qt::WaitCursor); });
            },
            logBook.run.figures()};
}

void MainWindow::progressBarHandling(int value)
{
    progressBar->setValue(value);
    showBarText(*progressBar, elapsedText(static_cast<quint32>(elapsedTimer.elapsed())));
}

void MainWindow::handleFinished()
{
    const std::optional<SessionEnd> end = session.finish();
    if (!end)
        return;
    if (!end->restarts) {
        updBtn->setText(StartText);
        loadImg->setEnabled(true);
        stayAwake->release();
        if (options.alertWhenDone)
            QApplication::alert(this); // unless it is in front
    }
    // A bar that is full stays so. But a stopped run did not fill it, even where the last piece that was sent
    // completes the count; and a run that has waited for this end begins with an empty one.
    const bool wasInterrupted = end->wasStopped && end->result != LoaderDone;
    if (end->restarts || wasInterrupted || progressBar->value() != progressBar->maximum())
        progressBar->setValue(0);
    showBarText(*progressBar, QString());
    releaseRun(*end);
    session.restart();
    if (options.tellSilentFailures && end->result > 0 && !end->errorWasReported && !end->wasStopped)
        showErrorBox(failureText(end->result));
}

/// What every run leaves behind, whether the window is still there to show its end or not.
void MainWindow::releaseRun(const SessionEnd &end)
{
    if (end.result < 0)
        qDebug("thread canceled with error");
    if (sub20Handle)
        hardware.adapter.close(sub20Handle);
    QGuiApplication::restoreOverrideCursor();
    logBook.run.noteEnd(end, errorReporter.isClosed());
}

void MainWindow::reportError(const QString &errTxt)
{
    errorReporter.report(errTxt);
}

void MainWindow::showErrorBox(const QString &errTxt)
{
    qDebug().noquote() << errTxt;
    if (errorReporter.isClosed())
        return;
    QMessageBox box(QMessageBox::Critical, QString(), tr("Error:"), QMessageBox::Close);
    box.setInformativeText(errTxt);
    box.setAccessibleName(box.text());
    box.setAccessibleDescription(errTxt);
    // A file name is shown as it stands, even one that looks like markup. The box has no call for that.
    if (auto *const label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel")))
        label->setTextFormat(Qt::PlainText);
    connect(box.button(QMessageBox::Close), SIGNAL(clicked()), this,
                                                   SLOT(handleMessageBoxButton()), Qt::QueuedConnection);
    box.exec();
}

void MainWindow::handleMessageBoxButton()
{
    // Closing the box is all that its button does.
}
