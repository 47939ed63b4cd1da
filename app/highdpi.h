// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

// Has the application that is created next drawn at the scale of its screen, also at one between
// whole numbers. Leaves it to the environment where that says how Qt is to scale.
void scaleWithScreen();
