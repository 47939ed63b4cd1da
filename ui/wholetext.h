// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Long texts that are cut where they stand, shown whole.
#pragma once

#include <QObject>

class QAbstractItemView;
class QMessageBox;
class QPoint;
class QWidget;

// The text with places where a line may break, which take no room, also inside of long words.
QString breakable(const QString &text);

// Shows the text as a tooltip that wraps; nothing in it is taken for markup.
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
