// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

/// Puts the program's settings file into a folder of its own, for as long as it lives.
class SettingsFolder
{
public:
    SettingsFolder() { QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder.path()); }

    QString path() const { return folder.path(); }
    /// The settings file, which need not exist yet.
    QString file() const { return folder.filePath(QStringLiteral("Norvantic/Quorlin.ini")); }

    /// A stored value, as the file holds it at this moment.
    QVariant value(const QString &key) const { return DiskCopy(file()).settings.value(key); }
    QStringList keys() const { return DiskCopy(file()).settings.allKeys(); }
    void setValue(const QString &key, const QVariant &value) const
    {
        QSettings(file(), QSettings::IniFormat).setValue(key, value);
    }

private:
    /// Of the same file, all settings objects of a process share what is not written yet; of a copy they do
    /// not.
    struct DiskCopy
    {
        explicit DiskCopy(const QString &original)
            : settings(folder.filePath(QStringLiteral("copy.ini")), QSettings::IniFormat)
        {
            QFile::copy(original, settings.fileName());
            settings.sync();
        }

        QTemporaryDir folder;
        QSettings settings;
    };

    QTemporaryDir folder;
};
