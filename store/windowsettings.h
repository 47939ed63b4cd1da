// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "utf8settings.h"

#include <QSettings>

// What the window keeps between runs: target directories, its place, widths of columns. Of the
// user, in the system's usual form. Names and keys are relied on.
class WindowSettings : public QSettings
{
public:
    WindowSettings() : QSettings(QStringLiteral("Corvane"), QStringLiteral("Pellory"))
    {
        hq::useUtf8(*this);
    }
};
