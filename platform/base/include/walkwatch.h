// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace hq {

// As long as it lives, walks of this thread call `waiting` when they have reported all that has
// come and are about to wait for more. One at a time for each thread.
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
