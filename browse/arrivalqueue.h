// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "nodedata.h"
#include "transfer.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <variant>

// An entry of a bucket as a walk reported it.
struct EntryArrival
{
    QString line; // for the status box
    QString path; // full address, without a final "/"
    bool isFile = false;
};

// A flow of a TAMS repository.
struct FlowArrival
{
    QString line;
    TamsNodeData flow;
};

// What a listing sends, in its order: entries, flows, and calls for the GUI thread.
using Arrival = std::variant<EntryArrival, FlowArrival, std::function<void()>>;

// Leads from the listings of one source to the GUI thread. Holds a few slices' worth at most, so
// that no listing runs far ahead. Any thread.
class ArrivalQueue
{
public:
    // Waits for room. False, without the arrival, once `token` is stopped. `*wasEmpty` tells that
    // the taker must be woken.
    bool push(Arrival arrival, const hq::StopToken &token, bool *wasEmpty);

    // The oldest arrivals, `most` of them or, when there are fewer, all.
    std::deque<Arrival> take(std::size_t most);

private:
    std::mutex m_mutex;
    std::condition_variable m_taken;
    std::deque<Arrival> m_arrivals;
};
