// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "targetdirectories.h"

#include <QSettings>
#include <QStandardPaths>

namespace {
const QLatin1String settingsKey("TargetDirectories");
}

QStringList loadTargetDirectories(const QSettings &settings)
{
    QStringList stored = settings.value(settingsKey).toStringList();
    if (!stored.isEmpty())
        return stored;
    QStringList defaults;
    for (const auto location : {QStandardPaths::DocumentsLocation, QStandardPaths::HomeLocation})
        defaults += QStandardPaths::standardLocations(location).mid(0, 1);
    return defaults;
}

void saveTargetDirectories(QSettings &settings, const QStringList &directories)
{
    settings.setValue(settingsKey, directories);
}
