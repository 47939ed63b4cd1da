// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "browsetree.h"

#include <QSignalBlocker>
#include <QStandardItemModel>
#include <algorithm>

namespace {
constexpr int rowsDeletedAtOnce = 2000;
} // namespace

BrowseTree::BrowseTree(QStandardItemModel *model, QList<QStandardItem *> *rootItems,
                       const ItemIcons &icons)
    : m_model(model), m_rootItems(rootItems), m_icons(icons)
{
    QObject::connect(&m_deletion, &QTimer::timeout, [this] { deleteSome(); });
}

void BrowseTree::forget()
{
    m_rootItems->clear();
    m_pathHashes.clear();
    m_fileCounts.clear();
}

int BrowseTree::fileCount(const QStandardItem *item) const
{
    const auto found = m_fileCounts.find(item);
    return found == m_fileCounts.end() ? 0 : found->second;
}

void BrowseTree::startS3(const QString &url)
{
    const QStringList parts = url.split(QLatin1Char('/'));
    start({"Name", "Size", "Kind", "Date"}, makeRootItem(parts.last(), parts, url, m_icons));
    m_pathHashes.push_back(pathHash(url));
}

void BrowseTree::startTams(const QString &text, const QString &site)
{
    start({"Label", "Id", "Format", "Created"}, makeRootItem(text, {}, site, m_icons));
}

void BrowseTree::start(const QStringList &headers, QStandardItem *root)
{
    while (m_model->rowCount() > 0)
        discard(m_model->takeRow(0));
    m_model->clear();
    m_model->setHorizontalHeaderLabels(headers);
    forget();
    m_rootItems->append(root);
    m_model->appendRow(root);
}

// Deleting a hundred thousand items at once would stop the window for too long.
void BrowseTree::discard(const QList<QStandardItem *> &row)
{
    for (QStandardItem *item : row) {
        if (item) // most fill their first column only
            m_discarded.emplace_back(item);
    }
    m_deletion.start(0);
}

void BrowseTree::deleteSome()
{
    if (m_discarded.empty()) {
        m_deletion.stop();
        return;
    }
    // Removing a row deletes everything below it, so the deepest rows are removed first.
    QStandardItem *item = m_discarded.back().get();
    for (QStandardItem *deeper = item; deeper; deeper = parentAmongLastRows(deeper))
        item = deeper;
    if (const int rows = item->rowCount(); rows > 0)
        item->removeRows(std::max(0, rows - rowsDeletedAtOnce), std::min(rows, rowsDeletedAtOnce));
    else
        m_discarded.pop_back();
}

// The last of the rows to be deleted next that has rows of its own; null when none has.
QStandardItem *BrowseTree::parentAmongLastRows(const QStandardItem *item)
{
    const int end = std::max(0, item->rowCount() - rowsDeletedAtOnce);
    for (int row = item->rowCount() - 1; row >= end; --row) {
        QStandardItem *child = item->child(row);
        if (child && child->hasChildren())
            return child;
    }
    return nullptr;
}

void BrowseTree::append(EntryBatch batch)
{
    QStandardItem *parent = findParent(batch.folder);
    if (!parent)
        return;
    QList<QStandardItem *> items;
    items.reserve(int(batch.entries.size()));
    int files = 0;
    for (WalkedEntry &entry : batch.entries) {
        entry.item->setData(entry.isFile ? m_icons.file : m_icons.directory, Qt::DecorationRole);
        items.append(entry.item.release());
        if (entry.isFile) {
            ++files;
        } else {
            m_rootItems->append(items.last());
            m_pathHashes.push_back(entry.pathHash);
        }
    }
    // Before the rows, because their arrival makes the proxies ask.
    m_fileCounts[parent] += files;
    if (parent->columnCount() == 0)
        parent->setColumnCount(1); // Qt would announce it while rows are being inserted
    parent->appendRows(items);
}

QStandardItem *BrowseTree::findParent(const QString &path) const
{
    const quint32 hash = pathHash(path);
    for (std::size_t i = 0; i < m_pathHashes.size(); ++i) {
        if (m_pathHashes[i] == hash && nodeData(m_rootItems->at(int(i))).path == path)
            return m_rootItems->at(int(i));
    }
    return nullptr;
}

// The model takes several rows at once for the first column only. The other columns are filled with
// signals blocked and announced together: announced one by one, each would make the proxies map all
// rows again.
void BrowseTree::append(const std::vector<TamsNodeData> &flows)
{
    if (flows.empty())
        return;
    QStandardItem *root = m_rootItems->first();
    const int begin = root->rowCount();
    std::vector<QList<QStandardItem *>> rows;
    QList<QStandardItem *> labels;
    for (const TamsNodeData &flow : flows) {
        rows.push_back(makeFlowRow(flow, m_icons));
        labels.append(rows.back().first());
    }
    if (root->columnCount() < rows.front().size())
        root->setColumnCount(rows.front().size());
    m_rootItems->append(labels);
    m_fileCounts[root] += labels.size();
    root->appendRows(labels);
    {
        const QSignalBlocker blocker(m_model);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            for (int column = 1; column < rows[i].size(); ++column)
                root->setChild(begin + int(i), column, rows[i][column]);
        }
    }
    emit m_model->dataChanged(root->child(begin, 1)->index(),
                              root->child(root->rowCount() - 1, root->columnCount() - 1)->index());
}

QStandardItem *BrowseTree::renew(QStandardItem *folder)
{
    const NodeData node = nodeData(folder);
    QStandardItem *fresh =
        makeEntryItem(node.path, false, node.pathParts.mid(0, node.pathParts.size() - 1));
    fresh->setData(m_icons.directory, Qt::DecorationRole);
    int kept = 0;
    for (int i = 0; i < m_rootItems->size(); ++i) {
        QStandardItem *item = m_rootItems->at(i);
        const bool isWithinFolder = isWithin(item, folder);
        if (isWithinFolder)
            m_fileCounts.erase(item);
        if (isWithinFolder && item != folder)
            continue;
        (*m_rootItems)[kept] = item == folder ? fresh : item;
        m_pathHashes[std::size_t(kept++)] = m_pathHashes[std::size_t(i)];
    }
    m_rootItems->erase(m_rootItems->begin() + kept, m_rootItems->end());
    m_pathHashes.resize(std::size_t(kept));

    QStandardItem *parent = folder->parent();
    const int row = folder->row();
    discard(parent->takeRow(row));
    parent->insertRow(row, fresh);
    return fresh;
}
