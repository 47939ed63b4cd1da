// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

// What a stream file is made for: a file or a flow.
struct StreamSource
{
    QString name;    // of the file, with its extension; a flow's label
    QString address; // what the stream file holds
    bool isFlow = false;
};

// The name of its stream file, without ".stream": a file's name up to its first dot, a flow's
// whole label, as it may stand on a disk.
QString streamBaseName(const StreamSource &source);

// Such names for the files of a folder, one for each source, no two of them alike when case is
// ignored. Sources that would share a name keep their extension in it; those that still share it
// get a number behind it, in the order of their addresses. The same sources get the same names, in
// whatever order they are given.
QStringList distinctStreamNames(const QVector<StreamSource> &sources);
