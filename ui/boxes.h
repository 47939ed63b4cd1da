// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// How the window's combo boxes treat long texts and typing.
#pragma once

class QComboBox;

// Gives the parts of the box the box's own accessible name: its list and its line edit.
void nameParts(QComboBox *box);

// Lets an editable box offer the entries that begin with the typed text, whatever their letter
// case, in a list below it. Nothing changes what was typed until one of them is chosen; Return
// takes the text as it stands.
void completeInList(QComboBox *box);
