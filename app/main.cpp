// SPDX-License-Identifier: MIT
#include "app/logbook.h"
#include "app/mainwindow.h"
#include "app/settingskeys.h"

#include <QApplication>
#include <QSettings>

int main(int argc, char *argv[])
{
    // Before anything can be logged, so that Qt's own first messages are in the log file, too.
    startLog(
        QSettings(QSettings::IniFormat, QSettings::UserScope, SettingsOrganisation, SettingsApplication));
    QApplication application(argc, argv);
    MainWindow window;
    window.show();
    return QApplication::exec();
}
