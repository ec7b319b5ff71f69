// SPDX-License-Identifier: MIT
// MainWindow: what it remembers from one start to the next.
#include "app/mainwindow.h"
#include "app/settingskeys.h"
#include "connections/hexadecimal.h"

#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QVariant>

#include <memory>

namespace {

constexpr int DefaultDeviceAddress = 0x50;

/// The box shows hexadecimal digits, but holds them as the decimal number that they spell: 0x50 is the value
/// 50. So only the digits 0 to 9 can be chosen, and an address with another digit shows as 0.
int shownDigits(int address)
{
    return QString::number(static_cast<uint>(address), Hexadecimal).toInt();
}

} // namespace

void MainWindow::loadSettings()
{
    settings = std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, SettingsOrganisation,
                                           SettingsApplication);
    options = readOptions(*settings);
    readConnectionType();
    portName = settings->value(settingskey::Port).toString();
    deviceName = settings->value(settingskey::DeviceName).toString();
    sub20Handle = nullptr;
    stopRequested = false;

    const QVariant address = settings->value(settingskey::Address);
    if (address.isNull()) {
        deviceAddress = DefaultDeviceAddress;
        settings->setValue(settingskey::Address, deviceAddress);
        settings->sync();
    } else {
        deviceAddress = address.toInt();
    }
    spinBoxAdress->setValue(shownDigits(deviceAddress));

    imageFileName = settings->value(settingskey::FileName).toString();
    if (!imageFileName.isEmpty())
        imageDirectory = QFileInfo(imageFileName).absolutePath();
    lineEdit->setText(imageFileName);
    refreshUpdateButton();
}

void MainWindow::readConnectionType()
{
    connectionType = settings->value(settingskey::ConnectionType).toInt();
}

void MainWindow::setAddress(const QString &text)
{
    deviceAddress = text.toInt(nullptr, Hexadecimal);
    settings->setValue(settingskey::Address, deviceAddress);
    settings->sync();
}
