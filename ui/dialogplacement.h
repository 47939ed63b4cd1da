// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the dialogs share: their pixel rules, since they have no layout managers, and how they
// start. All numbers are pixels and relied on.
#pragma once

#include <initializer_list>
#include <utility>

class QDialog;
class QLabel;
class QProgressDialog;
class QPushButton;
class QString;
class QWidget;

// Puts the rows one below the other, each a label and, 8 pixels right of it, its field.
void placeRows(std::initializer_list<std::pair<QLabel *, QWidget *>> rows, int labelWidth,
               int fieldWidth);

// Puts the two buttons side by side on the bottom edge; `accept` starts `offset` left of the
// dialog's middle.
void placeButtons(const QDialog *dialog, QPushButton *accept, QPushButton *cancel, int offset,
                  int width);

// Names each field after the label that was made before it, and puts the cursor into the first one
// whenever the dialog is shown. For the end of a dialog's constructor.
void prepareFields(QDialog *dialog);

// Shows the dialog, or brings it to the front as it is when it is shown already.
void showInFront(QDialog *dialog);

// Keeps a key that is typed while a progress dialog appears from cancelling the work, even when the
// window manager activates the dialog: no button is the default and the bar has the focus. The
// bar's accessible name becomes `what`. The label shows its text as it is.
void takeNoKeys(QProgressDialog *dialog, const QString &what);
