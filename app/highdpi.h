// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

// Has the application that is created next drawn at the scale of its screen, also at one between
// whole numbers. Leaves it to the environment where that says how Qt is to scale.
void scaleWithScreen();

// What the started program declares. Qt finds it late once an application exists, and says so at
// every start; that one message stays out of the error log.
void setHighDpiAttributes();
