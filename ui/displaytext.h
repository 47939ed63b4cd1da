// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Texts that come from outside, made fit to be shown, and texts that are cut where they stand,
// shown whole.
#pragma once

#include <QObject>

class QAbstractItemView;
class QMessageBox;
class QPoint;
class QWidget;

// An address without credentials: "s3://" site "/" bucket "/" key, a path as it is. For the
// clipboard; what is shown comes from addressToShow().
QString addressWithoutCredentials(const QString &address);

// The same with what cannot be seen replaced, so that it is one line.
QString addressToShow(const QString &address);

// A folder or file that was typed, with its whole path as the system writes it; without
// credentials where an address was typed.
QString pathToShow(const QString &path);

// Gives a widget the text as a tooltip, with nothing in it taken for markup and long lines wrapped,
// and screen readers the text itself.
void describe(QWidget *widget, const QString &text);

// Shows the text as such a tooltip.
void showWholeText(const QPoint &globalPlace, const QString &text, QWidget *widget);

// Lets the box wrap words that would make it too wide. Its text() stays as it is.
void wrapLongWords(QMessageBox *box);

// Shows a name that its column cuts as a tooltip. A child of the view.
class WholeNameTips : public QObject
{
public:
    explicit WholeNameTips(QAbstractItemView *view);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QAbstractItemView *m_view;
};
