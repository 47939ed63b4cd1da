// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Makes and reads the items of the browse tree. GUI thread.
#pragma once

#include "nodedata.h"

#include <QIcon>
#include <QList>

class QStandardItem;
class QStandardItemModel;

// An item's kind stands in this role as text; the proxies select rows by it.
constexpr int KindRole = Qt::WhatsThisRole;
QString rootKind();
QString folderKind();
QString fileKind();

// Shared by every item of a tree.
struct ItemIcons
{
    QIcon directory;
    QIcon file;
};

// A top-level item, marked as listed. `pathParts` is empty for a TAMS repository, the address
// split at "/" for an S3 source.
QStandardItem *makeRootItem(const QString &text, const QStringList &pathParts, const QString &path,
                            const ItemIcons &icons);

// An S3 entry; its text is the last part of `path`, an address without a final "/". The parts in
// front of it can be given, so that the entries of a folder share them.
QStandardItem *makeEntryItem(const QString &path, bool isFile, const ItemIcons &icons,
                             const QStringList &parentParts = {});

// The four items of a flow's row: label, with kind and payload, then id, format and created.
QList<QStandardItem *> makeFlowRow(const TamsNodeData &flow, const ItemIcons &icons);

// Whether `item` is `folder` or below it. Neither is null.
bool isWithin(const QStandardItem *item, const QStandardItem *folder);

// The payload that an item holds, or a default one when it holds none or is null.
NodeData nodeData(const QStandardItem *item);
TamsNodeData tamsNodeData(const QStandardItem *item);

// Marks the item's entries as asked for, in the item's own payload.
void markListed(QStandardItem *item);

// Empties the model and sets the header texts of the kind of source.
void resetForS3(QStandardItemModel *model);
void resetForTams(QStandardItemModel *model);
