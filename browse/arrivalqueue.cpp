// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "arrivalqueue.h"

#include <algorithm>
#include <chrono>
#include <iterator>

namespace {
constexpr std::size_t mostArrivals = 2000;
constexpr auto stopPoll = std::chrono::milliseconds(20);
} // namespace

bool ArrivalQueue::push(Arrival arrival, const hq::StopToken &token, bool *wasEmpty)
{
    std::unique_lock lock(m_mutex);
    while (m_arrivals.size() >= mostArrivals && !token.isStopped())
        m_taken.wait_for(lock, stopPoll);
    if (token.isStopped())
        return false;
    *wasEmpty = m_arrivals.empty();
    m_arrivals.push_back(std::move(arrival));
    return true;
}

std::deque<Arrival> ArrivalQueue::take(std::size_t most)
{
    std::deque<Arrival> taken;
    const std::lock_guard lock(m_mutex);
    if (m_arrivals.size() <= most) {
        taken.swap(m_arrivals);
    } else {
        const auto end = m_arrivals.begin() + static_cast<std::ptrdiff_t>(most);
        std::move(m_arrivals.begin(), end, std::back_inserter(taken));
        m_arrivals.erase(m_arrivals.begin(), end);
    }
    m_taken.notify_all();
    return taken;
}
