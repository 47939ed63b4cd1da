// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "stoptoken.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace hq {

namespace {
thread_local const ScopedStopToken *t_innermost = nullptr;
}

ScopedStopToken::ScopedStopToken(const StopToken &token) : m_token(token), m_outer(t_innermost)
{
    t_innermost = this;
}

ScopedStopToken::~ScopedStopToken()
{
    t_innermost = m_outer;
}

bool ScopedStopToken::isAnyStopped() const
{
    return m_token.isStopped() || (m_outer && m_outer->isAnyStopped());
}

bool isStopped()
{
    return t_innermost && t_innermost->isAnyStopped();
}

bool sleepUnlessStopped(int milliseconds)
{
    while (milliseconds > 0 && !isStopped()) {
        const int step = std::min(milliseconds, kStopPollMilliseconds);
        std::this_thread::sleep_for(std::chrono::milliseconds(step));
        milliseconds -= step;
    }
    return !isStopped();
}

} // namespace hq
