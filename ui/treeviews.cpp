// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "treeviews.h"

#include "rowselection.h"

#include <QFileSystemModel>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QTreeView>
#include <algorithm>

namespace {

constexpr int nameColumnWidth = 240;

QByteArray keptWidths(const QAbstractItemModel *model)
{
    if (qobject_cast<const QFileSystemModel *>(model))
        return "columnsLocal";
    const bool flows = model->headerData(0, Qt::Horizontal).toString() == QLatin1String("Label");
    return flows ? "columnsTams" : "columnsS3";
}

} // namespace

QByteArrayList keptWidthsNames()
{
    return {"columnsLocal", "columnsS3", "columnsTams"};
}

void keepWidths(QTreeView *view)
{
    if (!view->model() || view->header()->count() == 0)
        return;
    QVariantList widths;
    // The last column takes what the others leave.
    const int count = view->header()->count() - (view->header()->stretchLastSection() ? 1 : 0);
    for (int column = 0; column < count; ++column)
        widths.append(view->columnWidth(column));
    view->setProperty(keptWidths(view->model()), widths);
}

void applyWidths(QTreeView *view)
{
    if (!view->model() || view->header()->count() == 0)
        return;
    const QVariantList widths = view->property(keptWidths(view->model())).toList();
    if (widths.isEmpty())
        view->setColumnWidth(0, nameColumnWidth);
    for (int column = 0; column < std::min(int(widths.size()), view->header()->count()); ++column) {
        // What was stored may have been edited; a column that cannot be seen cannot be widened.
        if (widths[column].toInt() > 0)
            view->setColumnWidth(column, std::min(widths[column].toInt(), 10'000));
    }
}

void showModel(QTreeView *view, QAbstractItemModel *model)
{
    if (view->model() == model)
        return;
    keepWidths(view);
    // A view makes a new selection model for each model and leaves the old one to its user.
    QItemSelectionModel *selection = view->selectionModel();
    RowSelection *rows = RowSelection::of(view);
    if (rows)
        rows->expectModel(model);
    view->setModel(model);
    if (rows)
        rows->followModel();
    delete selection;
    applyWidths(view);
}
