// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "treesortfilterproxymodel.h"

#include "treeitems.h"

TreeSortFilterProxyModel::TreeSortFilterProxyModel(const QString &rowKind) : kind(rowKind) {}

TreeSortFilterProxyModel::~TreeSortFilterProxyModel() = default;

bool TreeSortFilterProxyModel::filterAcceptsRow(int source_row,
                                                const QModelIndex &source_parent) const
{
    const QAbstractItemModel *source = sourceModel();
    const QModelIndex index = source->index(source_row, 0, source_parent);
    const QString rowKind = index.data(KindRole).toString();
    if (rowKind.contains(QLatin1String("Root")))
        return true;
    if (rowKind == kind && isBelowMatch(source_parent))
        return true;
    if (kind == QLatin1String("File")) {
        const int children = source->rowCount(index);
        for (int row = 0; row < children; ++row) {
            if (filterAcceptsRow(row, index))
                return true;
        }
    }
    return false;
}

bool TreeSortFilterProxyModel::isBelowMatch(const QModelIndex &sourceParent) const
{
    return sourceParent.data(Qt::DisplayRole).toString().contains(filterRegExp().pattern());
}
