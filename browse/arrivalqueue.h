// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "stoptoken.h"

#include <QString>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

// An entry of a bucket as a walk reported it.
struct EntryArrival
{
    QString line; // for the status box
    QString path; // full address, without a final "/"
    bool isFile = false;
};

// What is taken at once: entries, or a call for the GUI thread.
struct ArrivalBatch
{
    std::vector<EntryArrival> entries;
    std::function<void()> call;
};

// Leads from the listings of one source to the GUI thread, in the order sent. Holds a few batches
// at most, so that no listing runs far ahead. Any thread.
class ArrivalQueue
{
public:
    // When to take the next batch: one that can still grow may wait for a moment.
    enum class Take { Nothing, Soon, Now };

    // Wait for room. None, and the arrival is dropped, once `token` is stopped. Nothing means that
    // the taker has been told already.
    std::optional<Take> push(EntryArrival entry, const hq::StopToken &token);
    std::optional<Take> push(std::function<void()> call, const hq::StopToken &token);

    // The oldest batch; empty when there is none. `*next` tells of the one behind it.
    ArrivalBatch take(Take *next);

private:
    bool waitForRoom(std::unique_lock<std::mutex> &lock, const hq::StopToken &token);

    std::mutex m_mutex;
    std::condition_variable m_taken;
    std::deque<ArrivalBatch> m_batches;
};
