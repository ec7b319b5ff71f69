// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Where the settings file lies, below the user's own settings.
inline const QString SettingsOrganisation = QStringLiteral("Norvantic");
inline const QString SettingsApplication = QStringLiteral("Quorlin");

/// The keys of the settings file. Technicians and their instructions know them.
namespace settingskey {

inline const QString ConnectionType = QStringLiteral("settings/connection_type");
inline const QString Port = QStringLiteral("settings/port");
inline const QString DeviceName = QStringLiteral("settings/deviceName");
inline const QString Address = QStringLiteral("settings/address");
inline const QString FileName = QStringLiteral("settings/filename");

/// The group of the keys that are read and never written.
inline const QString OptionsGroup = QStringLiteral("options/");

} // namespace settingskey
