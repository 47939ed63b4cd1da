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

// Labels, each with its field, from top to bottom.
using FormRows = std::initializer_list<std::pair<QLabel *, QWidget *>>;

struct FormPixels
{
    int labelWidth;
    int fieldWidth;
    int acceptOffset; // so far left of the dialog's middle the first button starts
    int buttonWidth;
};

// Puts the rows one below the other, the field 8 pixels right of its label, and the two buttons
// side by side on the bottom edge.
void placeForm(const QDialog *dialog, FormRows rows, QPushButton *accept, QPushButton *cancel,
               const FormPixels &pixels);
// The same, as the dialogs of an S3 source are placed.
void placeS3Form(const QDialog *dialog, FormRows rows, QPushButton *accept, QPushButton *cancel);

// For the end of a form's constructor. Connects the buttons to onAccept() and onCancel(), names
// each field after the label that was made before it, and puts the cursor into the first one
// whenever the dialog is shown.
void prepareForm(QDialog *dialog, QPushButton *accept, QPushButton *cancel);

// Shows the dialog, or brings it to the front as it is when it is shown already.
void showInFront(QDialog *dialog);

// Closes a dialog that will be shown again, and empties its fields.
void closeEmptied(QDialog *dialog);

// Sets up a dialog that shows the progress of `what` and appears a second from now. A key that is
// typed then does not cancel the work, even when the window manager activates the dialog: no button
// is the default and the bar has the focus. The label shows its text as it is. Returns `what` cut
// so that it fits there.
QString prepareProgress(QProgressDialog *dialog, const QString &title, const QString &what);
