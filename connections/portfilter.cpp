// SPDX-License-Identifier: MIT
#include "connections/portfilter.h"

bool isUnusablePort(const QString &description)
{
    return description.isEmpty() || description.contains(QStringLiteral("Bluetooth"), Qt::CaseInsensitive);
}
