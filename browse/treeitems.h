// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Makes and reads the items of the browse tree. The caller owns what is made. Any thread, as long
// as an item is in no model.
#pragma once

#include "nodedata.h"

#include <QIcon>
#include <QList>
#include <QStandardItem>
#include <memory>
#include <vector>

// An item's kind stands in this role as text: "Root", "Folder" or "File". The proxies select rows
// by it. Relied on.
constexpr int kindRole = Qt::WhatsThisRole;
inline const QString rootKind = QStringLiteral("Root");
inline const QString folderKind = QStringLiteral("Folder");
inline const QString fileKind = QStringLiteral("File");

// Of type QIcon, shared by every item of a tree.
struct ItemIcons
{
    QVariant directory;
    QVariant file;
};

// To tell most paths apart without comparing them. 32 bits do, and take half of the memory of Qt
// 6's hashes.
inline quint32 pathHash(const QString &path)
{
    return quint32(qHash(path));
}

// An entry of a bucket as a walk reported it.
struct WalkedEntry
{
    QString line; // for the status box
    std::unique_ptr<QStandardItem> item;
    quint32 pathHash = 0;
    bool isFile = false;
};

// Entries of one folder, given by its full address, in the order of the walk.
struct EntryBatch
{
    QString folder;
    std::vector<WalkedEntry> entries;
};

// A top-level item, marked as listed. `pathParts` is empty for a TAMS repository, the address
// split at "/" for an S3 source.
QStandardItem *makeRootItem(const QString &text, const QStringList &pathParts, const QString &path,
                            const ItemIcons &icons);

// An S3 entry; `path` is its address without a final "/", its text the last part of that. The
// entries of a folder can share the parts in front, `parentParts`. The GUI thread sets the icon
// later.
QStandardItem *makeEntryItem(const QString &path, bool isFile, const QStringList &parentParts = {});

// The four items of a flow's row: label, with kind and payload, then id, format and created.
QList<QStandardItem *> makeFlowRow(const TamsNodeData &flow, const ItemIcons &icons);

// Whether `item` is `folder` or below it. Neither is null.
bool isWithin(const QStandardItem *item, const QStandardItem *folder);

// The payload that an item holds, or a default one when it holds none or is null.
NodeData nodeData(const QStandardItem *item);
TamsNodeData tamsNodeData(const QStandardItem *item);

// Marks the item's entries as asked for, in the item's own payload.
void markListed(QStandardItem *item);
