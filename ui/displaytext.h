// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Texts that come from outside, made fit to be shown.
#pragma once

#include <QString>

class QWidget;

// An address without credentials: "s3://" site "/" bucket "/" key, a path as it is. For the
// clipboard; what is shown comes from addressToShow().
QString addressWithoutCredentials(const QString &address);

// The same with what cannot be seen replaced, so that it is one line.
QString addressToShow(const QString &address);

// A folder or file that was typed, with its whole path as the system writes it; without
// credentials where an address was typed.
QString pathToShow(const QString &path);

// A tooltip that shows the text as it is, also when it looks like markup; a long one wraps. Empty
// for an empty text.
QString plainToolTip(const QString &text);

// Gives a widget such a tooltip, and screen readers the text itself.
void describe(QWidget *widget, const QString &text);
