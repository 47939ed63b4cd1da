// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "arrivalqueue.h"

#include <chrono>

namespace {

constexpr std::size_t mostBatches = 4;
constexpr std::size_t entriesPerBatch = 1000; // two or three milliseconds of the taker's work
constexpr auto stopPoll = std::chrono::milliseconds(20);

bool isComplete(const ArrivalBatch &batch)
{
    return batch.call || batch.entries.size() >= entriesPerBatch;
}

} // namespace

// Leaves a batch that is not complete at the end.
bool ArrivalQueue::waitForRoom(std::unique_lock<std::mutex> &lock, const hq::StopToken &token)
{
    const auto isFull = [this] {
        return m_batches.size() >= mostBatches && isComplete(m_batches.back());
    };
    while (isFull() && !token.isStopped())
        m_taken.wait_for(lock, stopPoll);
    if (token.isStopped())
        return false;
    if (m_batches.empty() || isComplete(m_batches.back()))
        m_batches.emplace_back();
    return true;
}

std::optional<ArrivalQueue::Take> ArrivalQueue::push(EntryArrival entry, const hq::StopToken &token)
{
    std::unique_lock lock(m_mutex);
    if (!waitForRoom(lock, token))
        return std::nullopt;
    ArrivalBatch &batch = m_batches.back();
    batch.entries.push_back(std::move(entry));
    if (m_batches.size() > 1)
        return Take::Nothing;
    if (isComplete(batch))
        return Take::Now;
    return batch.entries.size() == 1 ? Take::Soon : Take::Nothing;
}

std::optional<ArrivalQueue::Take> ArrivalQueue::push(std::function<void()> call,
                                                     const hq::StopToken &token)
{
    std::unique_lock lock(m_mutex);
    if (!waitForRoom(lock, token))
        return std::nullopt;
    if (!m_batches.back().entries.empty())
        m_batches.emplace_back();
    m_batches.back().call = std::move(call);
    return m_batches.size() > 2 ? Take::Nothing : Take::Now;
}

ArrivalBatch ArrivalQueue::take(Take *next)
{
    ArrivalBatch batch;
    const std::lock_guard lock(m_mutex);
    if (!m_batches.empty()) {
        batch = std::move(m_batches.front());
        m_batches.pop_front();
    }
    if (m_batches.empty())
        *next = Take::Nothing;
    else
        *next = m_batches.size() > 1 || isComplete(m_batches.front()) ? Take::Now : Take::Soon;
    m_taken.notify_all();
    return batch;
}
