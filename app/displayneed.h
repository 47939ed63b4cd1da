// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArrayList>

// Whether the arguments, without the program's name, ask for a command-line run: at least one of
// them is neither an option that Qt takes out nor such an option's value. An explicit "-platform"
// is the user's own choice and gives false. A guess, because Qt has to know before it takes its
// options out; the mode itself goes by what Qt leaves.
bool runsWithoutDisplay(const QByteArrayList &arguments);

// Lets the application that is created next run without a display and without desktop plugins,
// which may need one. Overrides the environment.
void chooseOffscreenPlatform();

// While it lives, a Qt that cannot start the application or the window, for want of a display, ends
// the process with -1 and says why on standard error instead of aborting. One at a time.
class FailedStartReport
{
public:
    FailedStartReport();
    ~FailedStartReport();
    FailedStartReport(const FailedStartReport &) = delete;
    FailedStartReport &operator=(const FailedStartReport &) = delete;
};
