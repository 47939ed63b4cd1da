// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "rowselection.h"

#include <QEvent>
#include <QItemSelectionModel>
#include <QTreeView>

RowSelection::RowSelection(QTreeView *view) : QObject(view), m_view(view)
{
    view->installEventFilter(this);
    view->viewport()->installEventFilter(this);
    followModel();
}

RowSelection *RowSelection::of(const QTreeView *view)
{
    return view->findChild<RowSelection *>(QString(), Qt::FindDirectChildrenOnly);
}

// When the current row is removed, the view selects a neighbour at once. These are connected before
// the view is, and so know that the person did not choose it.
void RowSelection::expectModel(QAbstractItemModel *model)
{
    if (m_model)
        m_model->disconnect(this);
    m_model = model;
    m_isModelChanging = false;
    if (!model)
        return;
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &RowSelection::beginChange);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &RowSelection::endChange);
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, &RowSelection::beginChange);
    connect(model, &QAbstractItemModel::modelReset, this, &RowSelection::endChange);
}

void RowSelection::followModel()
{
    if (!m_view->selectionModel()) // a view that has had no model
        return;
    connect(m_view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &RowSelection::onSelectionChanged);
}

bool RowSelection::isNews(const QModelIndex &row)
{
    const bool isKnown = m_pressed.isValid() && m_pressed == row.sibling(row.row(), 0);
    m_pressed = QPersistentModelIndex();
    return !isKnown;
}

bool RowSelection::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::KeyPress) {
        m_isButtonDown = event->type() == QEvent::MouseButtonPress;
        m_pressed = QPersistentModelIndex();
    } else if (event->type() == QEvent::MouseButtonRelease) {
        m_isButtonDown = false;
    }
    return QObject::eventFilter(watched, event);
}

void RowSelection::onSelectionChanged(const QItemSelection &added)
{
    if (added.isEmpty())
        return;
    if (m_isModelChanging) {
        m_hasMoved = true;
        return;
    }
    const QModelIndex row = added.first().topLeft();
    emit selected(row.sibling(row.row(), 0));
    if (m_isButtonDown)
        m_pressed = row.sibling(row.row(), 0);
}

void RowSelection::beginChange()
{
    m_isModelChanging = true;
}

// The actions do not take a neighbour that nobody has chosen, so it must not be highlighted.
void RowSelection::endChange()
{
    m_isModelChanging = false;
    if (m_hasMoved)
        m_view->selectionModel()->clearSelection();
    m_hasMoved = false;
}
