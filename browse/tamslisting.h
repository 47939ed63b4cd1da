// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Reads a TAMS repository's entry file and flows. On the calling thread, ending with its stop
// token. Failures are logged, unless the thread was stopped.
#pragma once

#include "nodedata.h"

#include <optional>
#include <vector>

// A flow as the tree shows it, and its status line, which tells the label of its first element.
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

// The API's path from the entry file of `site`, with "/" at both ends. None when the file cannot be
// read; `*failure` is set then, and only then.
std::optional<QString> readTamsEndpoint(const QString &site, TamsFailure *failure);

// Where the flows of a repository are asked for.
QString tamsFlowsAddress(const QString &site, const QString &endpoint);

// Reads the flows that a repository lists at `address`. A response that is no JSON array has none.
// Elements that another flow collects become one flow, with the collecting flow's id. A flow stands
// where its first element stood. Its texts are those of its last element that is not collected, or
// else of the first. Nothing is returned when the reading fails; `*failure` is set then, and only
// then.
std::optional<std::vector<ListedFlow>> readTamsFlows(const QString &address, TamsFailure *failure);
