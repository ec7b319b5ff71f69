// SPDX-License-Identifier: MIT
#include "benchmarks/uploadwindow.h"

#include "connections/connection.h"

#include <QCoreApplication>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

UploadWindow::UploadWindow()
{
    window.show();
}

void UploadWindow::useInfrared()
{
    probe.setConnectionType(ConnectionInfraRed);
}

void UploadWindow::useSerialPort(const QString &device)
{
    probe.setConnectionType(ConnectionComPort);
    probe.setPortName(device);
}

void UploadWindow::setImage(const QString &fileName)
{
    probe.setImageFileName(fileName);
    probe.widget<QLineEdit>("lineEdit")->setText(fileName);
    probe.widget<QPushButton>("updBtn")->setEnabled(true);
}

void UploadWindow::pressButton()
{
    auto *const updBtn = probe.widget<QPushButton>("updBtn");
    updBtn->setFocus(); // as a mouse click does: no text cursor blinks while an upload runs
    updBtn->click();
}

void UploadWindow::waitUntilIdle()
{
    const auto *const loadImg = probe.widget<QPushButton>("loadImg");
    while (!loadImg->isEnabled() || !probe.future().isFinished())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

bool UploadWindow::isBarFull() const
{
    const auto *const bar = probe.widget<QProgressBar>("progressBar");
    return bar->value() == bar->maximum();
}

void useOffscreenPlatform()
{
    qputenv("QT_QPA_PLATFORM", QByteArrayLiteral("offscreen"));
}
