// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSortFilterProxyModel>

// Shows one kind of the tree's rows. Kind "Folder": every Root and folder. Kind "File": the Root,
// the files of every folder whose text contains the filter text, and what leads to them. The
// filter is the plain text given to setFilterFixedString. Rows keep the source model's order.
class TreeSortFilterProxyModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit TreeSortFilterProxyModel(const QString &rowKind);
    ~TreeSortFilterProxyModel() override;

protected:
    bool filterAcceptsRow(int source_row, const QModelIndex &source_parent) const override;

private:
    bool isBelowMatch(const QModelIndex &sourceParent) const;

    const QString kind;
};
