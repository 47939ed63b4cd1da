// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "arrivalqueue.h"

// Walks what lies directly inside a bucket or folder and gives each entry to `take`, which ends
// the walk with false. Runs on the calling thread and ends with its stop token; a walk that breaks
// off is logged by the utility library.
void walkEntries(const QString &address, const std::function<bool(EntryArrival)> &take);
