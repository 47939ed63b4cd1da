// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "browsetree.h"

#include <QStandardItemModel>
#include <algorithm>

namespace {
constexpr int rowsDeletedAtOnce = 2000;
}

BrowseTree::BrowseTree(QStandardItemModel *model, QList<QStandardItem *> *rootItems,
                       const ItemIcons &icons)
    : m_model(model), m_rootItems(rootItems), m_icons(icons)
{
    QObject::connect(&m_deletion, &QTimer::timeout, [this] { deleteSome(); });
}

BrowseTree::~BrowseTree() = default;

void BrowseTree::forget()
{
    m_rootItems->clear();
    m_pathHashes.clear();
}

void BrowseTree::startS3(const QString &url)
{
    discardTree();
    resetForS3(m_model);
    const QStringList parts = url.split(QLatin1Char('/'));
    setRoot(makeRootItem(parts.last(), parts, url, m_icons));
    m_pathHashes.push_back(qHash(url));
}

void BrowseTree::startTams(const QString &text, const QString &site)
{
    discardTree();
    resetForTams(m_model);
    setRoot(makeRootItem(text, {}, site, m_icons));
}

// To delete a hundred thousand items takes as long as a listing's gap may be.
void BrowseTree::discardTree()
{
    while (m_model->rowCount() > 0)
        discard(m_model->takeRow(0));
}

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
    // Rows go with all that is below them, so those deepest down go first.
    QStandardItem *item = m_discarded.back().get();
    for (QStandardItem *deeper = item; deeper; deeper = parentAmongLastRows(deeper))
        item = deeper;
    if (const int rows = item->rowCount(); rows > 0)
        item->removeRows(std::max(0, rows - rowsDeletedAtOnce), std::min(rows, rowsDeletedAtOnce));
    else
        m_discarded.pop_back();
}

// Of the rows that would be deleted next, the last one that has rows of its own; null when none
// has.
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

void BrowseTree::setRoot(QStandardItem *root)
{
    forget();
    m_rootItems->append(root);
    m_model->appendRow(root);
}

void BrowseTree::append(const std::vector<EntryArrival> &entries)
{
    struct Rows
    {
        QString parentPath;
        QStandardItem *parent;
        QStringList parentParts;
        int parentsKnown;
        QList<QStandardItem *> items;
    };
    std::vector<Rows> all;
    auto rows = all.end();
    for (const EntryArrival &entry : entries) {
        const QStringRef path = entry.path.leftRef(entry.path.lastIndexOf(QLatin1Char('/')));
        if (rows == all.end() || path != rows->parentPath) {
            rows = std::find_if(all.begin(), all.end(),
                                [&](const Rows &known) { return path == known.parentPath; });
        }
        if (rows == all.end())
            rows = all.insert(all.end(), {path.toString(), nullptr, {}, 0, {}});
        if (!rows->parent && rows->parentsKnown < m_rootItems->size()) {
            rows->parent = findParent(rows->parentPath);
            rows->parentParts = nodeData(rows->parent).pathParts;
            rows->parentsKnown = m_rootItems->size();
        }
        if (!rows->parent)
            continue;
        QStandardItem *item = makeEntryItem(entry.path, entry.isFile, m_icons, rows->parentParts);
        rows->items.append(item);
        if (!entry.isFile) {
            m_rootItems->append(item);
            m_pathHashes.push_back(qHash(entry.path));
        }
    }
    for (const Rows &finished : all) {
        if (finished.parent)
            finished.parent->appendRows(finished.items);
    }
}

QStandardItem *BrowseTree::findParent(const QString &path) const
{
    const uint hash = qHash(path);
    for (std::size_t i = 0; i < m_pathHashes.size(); ++i) {
        if (m_pathHashes[i] == hash && nodeData(m_rootItems->at(int(i))).path == path)
            return m_rootItems->at(int(i));
    }
    return nullptr;
}

void BrowseTree::append(const TamsNodeData &flow)
{
    const QList<QStandardItem *> row = makeFlowRow(flow, m_icons);
    m_rootItems->append(row.first());
    m_rootItems->first()->appendRow(row);
}

QStandardItem *BrowseTree::renew(QStandardItem *folder)
{
    const NodeData node = nodeData(folder);
    QStandardItem *fresh =
        makeEntryItem(node.path, false, m_icons, node.pathParts.mid(0, node.pathParts.size() - 1));
    int kept = 0;
    for (int i = 0; i < m_rootItems->size(); ++i) {
        QStandardItem *item = m_rootItems->at(i);
        if (item != folder && isWithin(item, folder))
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
