// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "walkwatch.h"

#include <utility>

namespace hq {

namespace {
thread_local std::function<void()> t_walkWaits;
}

ScopedWalkWatch::ScopedWalkWatch(std::function<void()> waiting)
{
    t_walkWaits = std::move(waiting);
}

ScopedWalkWatch::~ScopedWalkWatch()
{
    t_walkWaits = nullptr;
}

void tellWalkWaits()
{
    if (t_walkWaits)
        t_walkWaits();
}

} // namespace hq
