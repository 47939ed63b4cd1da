// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "treeitems.h"

namespace {

QStandardItem *makeItem(const QString &text, const QString &kind, const QVariant &payload)
{
    auto *item = new QStandardItem(text);
    item->setData(kind, kindRole);
    item->setData(payload, nodeDataRole);
    return item;
}

} // namespace

QStandardItem *makeRootItem(const QString &text, const QStringList &pathParts, const QString &path,
                            const ItemIcons &icons)
{
    NodeData node;
    node.pathParts = pathParts;
    node.path = path;
    node.listed = true;
    QStandardItem *item = makeItem(text, rootKind, QVariant::fromValue(node));
    item->setData(icons.directory, Qt::DecorationRole);
    return item;
}

QStandardItem *makeEntryItem(const QString &path, bool isFile, const QStringList &parentParts)
{
    NodeData node;
    if (parentParts.isEmpty()) {
        node.pathParts = path.split(QLatin1Char('/'));
    } else {
        node.pathParts.reserve(parentParts.size() + 1);
        node.pathParts += parentParts;
        node.pathParts += path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    }
    node.path = path;
    node.isFile = isFile;
    return makeItem(node.pathParts.last(), isFile ? fileKind : folderKind,
                    QVariant::fromValue(node));
}

QList<QStandardItem *> makeFlowRow(const TamsNodeData &flow, const ItemIcons &icons)
{
    QStandardItem *label = makeItem(flow.label, fileKind, QVariant::fromValue(flow));
    label->setData(icons.file, Qt::DecorationRole);
    return {label, new QStandardItem(flow.id), new QStandardItem(flow.format),
            new QStandardItem(flow.created)};
}

bool isWithin(const QStandardItem *item, const QStandardItem *folder)
{
    while (item && item != folder)
        item = item->parent();
    return item;
}

NodeData nodeData(const QStandardItem *item)
{
    return item ? item->data(nodeDataRole).value<NodeData>() : NodeData();
}

TamsNodeData tamsNodeData(const QStandardItem *item)
{
    return item ? item->data(nodeDataRole).value<TamsNodeData>() : TamsNodeData();
}

void markListed(QStandardItem *item)
{
    NodeData node = nodeData(item);
    node.listed = true;
    item->setData(QVariant::fromValue(node), nodeDataRole);
}
