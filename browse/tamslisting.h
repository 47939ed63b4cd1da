// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Reads a TAMS repository's entry file and flows. On the calling thread, ending with its stop
// token. Failures are logged, unless the thread was stopped.
#pragma once

#include "nodedata.h"

#include <QByteArray>
#include <optional>
#include <vector>

// A flow as it stands in the end, and its status line, which has the label it came with first.
struct ListedFlow
{
    QString line;
    TamsNodeData flow;
};

// What a message box tells of a failure.
struct TamsFailure
{
    QString title;
    QString text;
};

// The API's path from the entry file of `site`, with "/" at both ends.
std::optional<QString> readTamsEndpoint(const QString &site, TamsFailure *failure);

// Where the flows of a repository are asked for.
QString tamsFlowsAddress(const QString &site, const QString &endpoint);

// The flows that a repository answers at `address`.
std::optional<std::vector<ListedFlow>> readTamsFlows(const QString &address, TamsFailure *failure);

// The flows of an answer, those that another flow collects folded into one under the collecting
// flow's id. Whatever is not JSON, or not an array, has none. Each is in the place of its first
// element; its texts are those of the last one that is not collected, if there is one.
std::vector<ListedFlow> foldTamsFlows(const QByteArray &json);
