// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/pace.h"

#include "net/timelimits.h"

#include <algorithm>

namespace hq {

namespace {

constexpr double kMaxCount = 16;
// The shortest time so far counts a little less with each page that comes.
constexpr double kFading = 1.05;
constexpr double kQueueing = 3; // pages that take so many times as long wait for each other

} // namespace

void Pace::came(Time latency, bool wasRefused)
{
    m_latency = std::min(latency, m_latency * kFading);
    if (wasRefused)
        m_number = std::max(1.0, m_number / 2);
    else if (latency > kQueueing * m_latency)
        m_number = std::max(2.0, m_number - 0.5);
    else
        m_number = std::min(kMaxCount, m_number + 2);
}

void Pace::worked(Time time)
{
    m_work = std::min(time, m_work * kFading);
}

std::size_t Pace::limit() const
{
    const bool isWaitedFor = m_work == Time::max() || m_latency > m_work;
    return m_latency > timeLimits().page && isWaitedFor ? static_cast<std::size_t>(m_number) : 1;
}

} // namespace hq
