// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QPersistentModelIndex>
#include <QPointer>

class QItemSelection;
class QTreeView;

// Tells which row a person has selected in a view, whether by key, by mouse or through a screen
// reader. Not reported: a selection that ends because its rows or the model go. A child of the
// view, found by showModel(), which keeps it informed.
class RowSelection : public QObject
{
    Q_OBJECT
public:
    explicit RowSelection(QTreeView *view);

    // That of a view; null when there is none.
    static RowSelection *of(const QTreeView *view);

    // Called before and after the view is given a model, which may be null.
    void expectModel(QAbstractItemModel *model);
    void followModel();

    // Whether a click on `row` has to be acted on: not when the press of the button has selected
    // the row already, which was reported then. Ask once for each click.
    bool isNews(const QModelIndex &row);

signals:
    // Another row is selected; column 0.
    void selected(QModelIndex row);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void onSelectionChanged(const QItemSelection &added);
    void beginChange();
    void endChange();

    QTreeView *m_view;
    QPointer<QAbstractItemModel> m_model;
    QPersistentModelIndex m_pressed; // reported while the button goes down
    bool m_isButtonDown = false;
    bool m_isModelChanging = false;
    bool m_hasMoved = false; // the highlight, while the model changed
};
