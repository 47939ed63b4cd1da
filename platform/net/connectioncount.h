// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace hq {

// How many connections a copy should have: those worth having, as far as the server admits them.
//
// Worth having are all at once for a server that takes its time, otherwise a few, and more for as
// long as each doubling raises the rate. A refusal halves what is taken for admitted, once for all
// requests that were under way together. While responses come it grows again: by doubling up to
// half of what was refused, from there by one a second.
class ConnectionCount
{
public:
    static constexpr std::size_t kMaxCount = 32;

    explicit ConnectionCount(int latencyMicroseconds);

    std::size_t count() const;

    // A request belongs to the round in which it was sent.
    unsigned round() const { return m_round; }
    // A request was refused; whether it was the first of its round.
    bool refuse(unsigned round);
    // A response to one came.
    void accept(unsigned round);

    // Call often, with the bytes that have come so far.
    void update(std::int64_t done);

private:
    using Clock = std::chrono::steady_clock;

    void raise(Clock::time_point now);

    std::size_t m_wanted;
    std::size_t m_admitted = kMaxCount;
    std::size_t m_threshold = kMaxCount; // up to here doubling is safe
    unsigned m_round = 0;
    bool m_isAnswered = false; // some request of this round
    Clock::time_point m_changed;

    Clock::time_point m_windowStart;
    std::int64_t m_windowDone = 0;
    double m_rate = 0;
    bool m_isSettled = false;
};

} // namespace hq
