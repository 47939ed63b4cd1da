// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "treeitems.h"

#include <functional>

// How a walk ended.
struct WalkEnd
{
    quint64 entries = 0; // reported
    QString failure;     // why it broke off, in words without credentials; else empty
};

using BatchTaker = std::function<bool(EntryBatch)>;

// Walks what lies directly inside a bucket or folder and gives the entries to `take`, which ends
// the walk with false: all that has come when the walk waits for more, but a thousand at most. Runs
// on the calling thread and ends with its stop tokens, which counts as no failure; a walk that
// breaks off is logged by the utility library.
WalkEnd walkEntries(const QString &address, const BatchTaker &take);
