// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

// Lets the application that is created next be drawn at the scale of its screen, fractions
// included. Does nothing where the environment sets Qt's scale.
void scaleWithScreen();

// Sets Qt's two attributes for such screens, after the application is made. Qt warns that this is
// late; the warning is kept out of the error log.
void setHighDpiAttributes();
