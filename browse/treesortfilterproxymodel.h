// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPersistentModelIndex>
#include <QSortFilterProxyModel>
#include <functional>
#include <vector>

class QStandardItem;

// Shows one kind of the rows of a QStandardItemModel. Kind "Folder": every Root and folder. Kind
// "File": the Root, the files of every folder whose text contains the filter text, and what leads
// to them. The filter is the plain text given to setFilterFixedString. Rows keep the source model's
// order. Relied on: "clip" also lets through the files below "clip2".
class TreeSortFilterProxyModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit TreeSortFilterProxyModel(const QString &rowKind);
    ~TreeSortFilterProxyModel() override;

    // Tells how many files were put below a folder; 0 when that is not known. Where this is the
    // number of all its rows, the proxy need not look at them.
    using FileCountCallback = std::function<int(const QStandardItem *)>;
    void setFileCount(FileCountCallback count) { m_fileCount = std::move(count); }

    // For the kind "File". Takes the model of `folder` as source and its text as filter. From now
    // on only the folder, what leads to it and what is below it are shown. No other row is even
    // looked at, since millions can be loaded.
    void showFolder(const QStandardItem *folder);

    // Shows all of the tree again.
    void setFilterFixedString(const QString &pattern);

protected:
    bool filterAcceptsRow(int source_row, const QModelIndex &source_parent) const override;

private:
    bool acceptsShown(const QStandardItem *folder, int row) const;
    bool acceptsItem(const QStandardItem *item, bool isMatch) const;
    bool hasAccepted(const QStandardItem *folder) const;
    bool hasOnlyFiles(const QStandardItem *folder) const;

    const QString kind;
    std::vector<QPersistentModelIndex> m_path; // from the Root to the shown folder; empty for all
    QString m_pattern; // the filter text; Qt keeps it as a regular expression only
    FileCountCallback m_fileCount;
    mutable int m_knownRows = -1; // rows of the shown folder when m_isOnlyFiles was found out
    mutable bool m_isOnlyFiles = false;
};
