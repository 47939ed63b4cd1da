// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The list of target directories in the settings store.
#pragma once

#include <QStringList>

class QSettings;

// The stored list, or the person's documents folder and home folder when it is empty. The
// defaults are not stored.
QStringList loadTargetDirectories(const QSettings &settings);

void saveTargetDirectories(QSettings &settings, const QStringList &directories);
