// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a tree item carries in nodeDataRole. Plain values; a source's address can hold its
// credentials, so a path must not be shown or logged. Names and order of the fields are relied on.
#pragma once

#include <QDate>
#include <QMetaType>
#include <QStringList>

constexpr int nodeDataRole = Qt::UserRole + 1;

// The payload of a Root and of every S3 entry.
struct NodeData
{
    QStringList pathParts; // `path` split at "/", empty parts kept
    QString path;          // full address, without a final "/" for an entry
    qint32 size = 0;
    QDate date;
    bool isFile = false;
    bool listed = false; // the entries below have been asked for
};

// The payload of a TAMS flow, in column 0 of its row.
struct TamsNodeData
{
    QString label;
    QString id;
    QString format;
    QString created;
};

Q_DECLARE_METATYPE(NodeData)
Q_DECLARE_METATYPE(TamsNodeData)
