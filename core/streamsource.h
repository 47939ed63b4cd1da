// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

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
