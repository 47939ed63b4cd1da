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

using BatchCallback = std::function<bool(EntryBatch)>;

// Walks what lies directly inside a bucket or folder, on the calling thread. `take` gets the
// entries in batches: a thousand, or what has come when the walk has to wait for more. The walk
// ends early when `take` returns false or a stop token of the thread is stopped; neither counts as
// a failure. When it breaks off, the utility library has logged why.
WalkEnd walkEntries(const QString &address, const BatchCallback &take);
