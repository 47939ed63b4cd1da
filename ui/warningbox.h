// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

class QMessageBox;
class QString;
class QWidget;

// Shows a modal warning with one OK button and returns when it is closed. The text is plain: what
// stands in "<" and ">" is shown as it is.
void showWarning(QWidget *parent, const QString &title, const QString &text);

// The same, but returns at once. The box goes when it is closed, or with its parent.
QMessageBox *openWarning(QWidget *parent, const QString &title, const QString &text);

// A box of the same kind that tells of no failure.
QMessageBox *openInformation(QWidget *parent, const QString &title, const QString &text);
