// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "browsetree.h"

#include <QStandardItemModel>

BrowseTree::BrowseTree(QStandardItemModel *model, QList<QStandardItem *> *rootItems,
                       const ItemIcons &icons)
    : m_model(model), m_rootItems(rootItems), m_icons(icons)
{
}

void BrowseTree::forget()
{
    m_rootItems->clear();
    m_parents.clear();
}

void BrowseTree::startS3(const QString &url)
{
    resetForS3(m_model);
    const QStringList parts = url.split(QLatin1Char('/'));
    setRoot(makeRootItem(parts.last(), parts, url, m_icons));
    m_parents.insert(url, m_rootItems->first());
}

void BrowseTree::startTams(const QString &text, const QString &site)
{
    resetForTams(m_model);
    setRoot(makeRootItem(text, {}, site, m_icons));
}

void BrowseTree::setRoot(QStandardItem *root)
{
    forget();
    m_rootItems->append(root);
    m_model->appendRow(root);
}

void BrowseTree::append(const std::vector<EntryArrival> &entries)
{
    QStandardItem *parent = nullptr;
    QString parentPath;
    QStringList parentParts;
    QList<QStandardItem *> rows;
    const auto appendRows = [&] {
        if (!rows.isEmpty())
            parent->appendRows(rows);
        rows.clear();
    };
    for (const EntryArrival &entry : entries) {
        const QStringRef address = entry.path.leftRef(entry.path.lastIndexOf(QLatin1Char('/')));
        if (!parent || address != parentPath) {
            appendRows();
            parentPath = address.toString();
            parent = m_parents.value(parentPath);
            parentParts = nodeData(parent).pathParts;
        }
        if (!parent)
            continue;
        QStandardItem *item = makeEntryItem(entry.path, entry.isFile, m_icons, parentParts);
        rows.append(item);
        if (!entry.isFile) {
            m_rootItems->append(item);
            if (!m_parents.contains(entry.path))
                m_parents.insert(entry.path, item);
        }
    }
    appendRows();
}

void BrowseTree::append(const std::vector<FlowArrival> &flows)
{
    QStandardItem *root = m_rootItems->first();
    for (const FlowArrival &arrival : flows) {
        const QList<QStandardItem *> row = makeFlowRow(arrival.flow, m_icons);
        m_rootItems->append(row.first());
        root->appendRow(row);
    }
}
