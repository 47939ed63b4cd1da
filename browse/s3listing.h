// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "arrivalqueue.h"

// How a walk ended.
struct WalkEnd
{
    quint64 entries = 0; // reported
    QString failure;     // why it broke off, in words without credentials; else empty
};

// Walks what lies directly inside a bucket or folder and gives each entry to `take`, which ends
// the walk with false. Runs on the calling thread and ends with its stop tokens, which counts as no
// failure; a walk that breaks off is logged by the utility library.
WalkEnd walkEntries(const QString &address, const std::function<bool(EntryArrival)> &take);
