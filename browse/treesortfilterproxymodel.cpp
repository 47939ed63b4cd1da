// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "treesortfilterproxymodel.h"

#include "treeitems.h"

#include <QStandardItemModel>
#include <algorithm>

TreeSortFilterProxyModel::TreeSortFilterProxyModel(const QString &rowKind) : kind(rowKind) {}

TreeSortFilterProxyModel::~TreeSortFilterProxyModel() = default;

void TreeSortFilterProxyModel::showFolder(const QStandardItem *folder)
{
    const QModelIndex index = folder->index();
    if (m_path.empty() || m_path.back() != index || sourceModel() != folder->model()) {
        // Without this Qt would filter all rows of the old mapping again.
        setSourceModel(nullptr);
        m_path.clear();
        for (QModelIndex step = index; step.isValid(); step = step.parent())
            m_path.emplace_back(step);
        std::reverse(m_path.begin(), m_path.end());
    }
    m_knownRows = -1;
    m_pattern = folder->text();
    QSortFilterProxyModel::setFilterFixedString(m_pattern);
    if (!sourceModel())
        setSourceModel(folder->model());
}

void TreeSortFilterProxyModel::setFilterFixedString(const QString &pattern)
{
    m_path.clear();
    m_pattern = pattern;
    QSortFilterProxyModel::setFilterFixedString(pattern);
}

bool TreeSortFilterProxyModel::filterAcceptsRow(int source_row,
                                                const QModelIndex &source_parent) const
{
    const auto *items = static_cast<const QStandardItemModel *>(sourceModel());
    if (!m_path.empty() && source_parent.isValid()) {
        if (m_path.back() == source_parent)
            return acceptsShown(items->itemFromIndex(source_parent), source_row);
        for (std::size_t i = m_path.size() - 1; i-- > 0;) {
            if (m_path[i] == source_parent)
                return m_path[i + 1].row() == source_row &&
                       hasAccepted(items->itemFromIndex(m_path.back()));
        }
    }
    const QStandardItem *parent = items->itemFromIndex(source_parent);
    if (!parent) // what stands at the top is below an empty text
        return acceptsItem(items->item(source_row), m_pattern.isEmpty());
    return acceptsItem(parent->child(source_row), parent->text().contains(m_pattern));
}

bool TreeSortFilterProxyModel::acceptsShown(const QStandardItem *folder, int row) const
{
    const int rows = folder->rowCount();
    if (rows != m_knownRows) {
        m_knownRows = rows;
        m_isOnlyFiles = hasOnlyFiles(folder);
    }
    return m_isOnlyFiles || acceptsItem(folder->child(row), true);
}

bool TreeSortFilterProxyModel::hasOnlyFiles(const QStandardItem *folder) const
{
    return m_fileCount && folder->rowCount() > 0 && m_fileCount(folder) == folder->rowCount();
}

// `isMatch` tells whether the text of the item's parent holds the filter text.
bool TreeSortFilterProxyModel::acceptsItem(const QStandardItem *item, bool isMatch) const
{
    if (!item)
        return false;
    const QString rowKind = item->data(kindRole).toString();
    return (isMatch && rowKind == kind) || rowKind.contains(rootKind) ||
           (kind == fileKind && item->hasChildren() && hasAccepted(item));
}

bool TreeSortFilterProxyModel::hasAccepted(const QStandardItem *folder) const
{
    const bool isMatch = folder->text().contains(m_pattern);
    if (hasOnlyFiles(folder))
        return isMatch;
    const int rows = folder->rowCount();
    for (int row = 0; row < rows; ++row) {
        if (acceptsItem(folder->child(row), isMatch))
            return true;
    }
    return false;
}
