// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "treeviews.h"

#include "rowselection.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QTreeView>

namespace {
constexpr int nameColumnWidth = 240;
}

void showModel(QTreeView *view, QAbstractItemModel *model)
{
    if (view->model() == model)
        return;
    // A view makes a new selection model for each model and leaves the old one to its user.
    QItemSelectionModel *selection = view->selectionModel();
    RowSelection *rows = RowSelection::of(view);
    if (rows)
        rows->expectModel(model);
    view->setModel(model);
    if (rows)
        rows->followModel();
    delete selection;
    if (model && view->header()->count() > 0)
        view->setColumnWidth(0, nameColumnWidth);
}
