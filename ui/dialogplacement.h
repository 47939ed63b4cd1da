// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The pixel rules of the dialogs, which have no layout managers. All numbers are pixels.
#pragma once

#include <initializer_list>
#include <utility>

class QDialog;
class QLabel;
class QPushButton;
class QWidget;

// Puts the rows one below the other, each a label and, 8 pixels right of it, its field.
void placeRows(std::initializer_list<std::pair<QLabel *, QWidget *>> rows, int labelWidth,
               int fieldWidth);

// Puts the two buttons side by side on the bottom edge; `accept` starts `offset` left of the
// dialog's middle.
void placeButtons(const QDialog *dialog, QPushButton *accept, QPushButton *cancel, int offset,
                  int width);
