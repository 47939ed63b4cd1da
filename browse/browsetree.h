// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "treeitems.h"

#include <QTimer>
#include <memory>
#include <unordered_map>
#include <vector>

// Fills the window's tree of a remote source. GUI thread.
class BrowseTree
{
public:
    // `rootItems` lists the items that can receive entries, the Root first. Model and list belong
    // to the caller and must outlive this object; the list is changed through it alone.
    BrowseTree(QStandardItemModel *model, QList<QStandardItem *> *rootItems,
               const ItemIcons &icons);

    // Empties `rootItems`; the model keeps what it shows.
    void forget();

    // Begin an empty tree of a source with its Root.
    void startS3(const QString &url);
    void startTams(const QString &text, const QString &site);

    // Append rows. Entries go below the first of `rootItems` with their folder's path, and are left
    // out when there is none; flows go below the Root.
    void append(EntryBatch batch);
    void append(const std::vector<TamsNodeData> &flows);

    // How many of the rows appended to an item were files or flows.
    int fileCount(const QStandardItem *item) const;

    // Replaces the item of an S3 folder, in its row and in `rootItems`, by a fresh one that is not
    // listed yet. What is below the old item leaves `rootItems`; both are deleted later.
    QStandardItem *renew(QStandardItem *folder);

private:
    void start(const QStringList &headers, QStandardItem *root);
    void discard(const QList<QStandardItem *> &row);
    void deleteSome();
    static QStandardItem *parentAmongLastRows(const QStandardItem *item);
    QStandardItem *findParent(const QString &path) const;

    QStandardItemModel *m_model;
    QList<QStandardItem *> *m_rootItems;
    ItemIcons m_icons;
    // Hashes of the paths of m_rootItems, for an S3 source. To search them takes microseconds, once
    // for each batch; a map of all folders would cost as much as their items.
    std::vector<quint32> m_pathHashes;
    std::unordered_map<const QStandardItem *, int> m_fileCounts;
    // Roots of trees before, deleted bit by bit.
    std::vector<std::unique_ptr<QStandardItem>> m_discarded;
    QTimer m_deletion;
};
