// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace hq {

// Has the walks of this thread call `waiting` when all that has come is reported and they wait for
// more, as long as the object lives.
class ScopedWalkWatch
{
public:
    explicit ScopedWalkWatch(std::function<void()> waiting);
    ~ScopedWalkWatch();
    ScopedWalkWatch(const ScopedWalkWatch &) = delete;
    ScopedWalkWatch &operator=(const ScopedWalkWatch &) = delete;
};

// For walks that are about to wait.
void tellWalkWaits();

} // namespace hq
