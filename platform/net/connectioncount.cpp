// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/connectioncount.h"

#include <algorithm>

namespace hq {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kFirst = 4;
constexpr int kNearMicroseconds = 3000; // a response that comes as fast needs no company
constexpr milliseconds kRateWindow{150};
constexpr double kWorthwhileGain = 1.15;
constexpr milliseconds kDoubleAfter{250};
constexpr milliseconds kAddAfter{1000};

} // namespace

ConnectionCount::ConnectionCount(int latencyMicroseconds)
    : m_wanted(latencyMicroseconds < kNearMicroseconds ? kFirst : kMaxCount)
    , m_windowStart(Clock::now())
{
}

std::size_t ConnectionCount::count() const
{
    return std::min(m_wanted, m_admitted);
}

bool ConnectionCount::refuse(unsigned round)
{
    if (round != m_round)
        return false;
    const std::size_t half = std::max<std::size_t>(count() / 2, 1);
    // A server that answers nothing at all says nothing about how much it admits.
    if (m_isAnswered)
        m_threshold = half;
    m_admitted = half;
    ++m_round;
    m_isAnswered = false;
    m_changed = Clock::now();
    return true;
}

void ConnectionCount::accept(unsigned round)
{
    m_isAnswered = m_isAnswered || round == m_round;
}

void ConnectionCount::raise(Clock::time_point now)
{
    const bool isSafe = m_admitted < m_threshold;
    if (!m_isAnswered || now - m_changed < (isSafe ? kDoubleAfter : kAddAfter))
        return;
    m_admitted = isSafe ? std::min(m_admitted * 2, m_threshold) : m_admitted + 1;
    m_changed = now;
}

void ConnectionCount::update(std::int64_t done)
{
    const auto now = Clock::now();
    if (m_admitted < m_wanted) {
        raise(now);
        m_windowStart = now; // the rate of a copy that is held back says nothing
        m_windowDone = done;
        return;
    }
    if (m_isSettled || now - m_windowStart < kRateWindow)
        return;
    const double rate = static_cast<double>(done - m_windowDone) /
                        std::chrono::duration<double>(now - m_windowStart).count();
    if (m_wanted >= kMaxCount || rate < m_rate * kWorthwhileGain)
        m_isSettled = true;
    else
        m_wanted = std::min(m_wanted * 2, kMaxCount);
    m_rate = rate;
    m_windowStart = now;
    m_windowDone = done;
}

} // namespace hq
