// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>

namespace hq {

// Finds out how many pages of a listing are best asked for at a time.
class Pace
{
public:
    using Time = std::chrono::duration<double, std::micro>;

    // A page took the server so long; `wasRefused`: not at the first attempt.
    void came(Time latency, bool wasRefused);
    // What the caller does with a page takes so long.
    void worked(Time time);

    // 1 where waiting for pages is not what takes the time.
    std::size_t limit() const;

private:
    double m_number = 1;
    Time m_latency = Time::max(); // the shortest ones of late
    Time m_work = Time::max();
};

} // namespace hq
