// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFrame>
#include <QPersistentModelIndex>
#include <QPointer>
#include <QTimer>

class QLabel;
class QLineEdit;
class QTreeView;

// A line at the foot of a view, brought up by Ctrl+F in its window, that goes to the next name
// which holds the typed text, whatever its case, and begins again at the top. Many rows are looked
// through bit by bit, so that the window goes on.
class NameFinder : public QFrame
{
    Q_OBJECT
public:
    explicit NameFinder(QTreeView *view);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void comeUp();
    void goAway();
    void place();
    void search(bool beyondCurrent);
    void lookAtSome();

    QTreeView *m_view;
    QLineEdit *m_text;
    QLabel *m_result;
    QTimer m_next;
    // Of the search that is going on.
    QPointer<QAbstractItemModel> m_model;
    QPersistentModelIndex m_root;
    int m_row = 0;
    int m_rowsLeft = 0;
};
