// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Reads a TAMS repository's entry file and flows. On the calling thread, ending with its stop
// token. Failures are logged, unless the thread was stopped.
#pragma once

#include "arrivalqueue.h"

#include <QByteArray>
#include <optional>
#include <vector>

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
std::optional<std::vector<FlowArrival>> readTamsFlows(const QString &address, TamsFailure *failure);

// The flows of an answer, those that another flow collects folded into one under the collecting
// flow's id. Whatever is not JSON, or not an array, has none. Each is in the place, and has the
// line, of its first element; its texts are those of the last element that is not collected.
std::vector<FlowArrival> foldTamsFlows(const QByteArray &json);
