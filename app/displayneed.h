// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArrayList>

// Whether the arguments, without the program's name, ask for a command-line run: at least one of
// them is neither an option that Qt takes out nor such an option's value. An explicit "-platform"
// is the user's own choice and gives false.
bool runsWithoutDisplay(const QByteArrayList &arguments);

// Makes the application that is created next do without a display and without desktop plugins,
// which may need one, whatever the environment says.
void chooseOffscreenPlatform();
