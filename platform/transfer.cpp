// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "transfer.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace hq {

namespace {
thread_local const StopToken *t_token = nullptr;
constexpr int kStepMilliseconds = 50;
} // namespace

ScopedStopToken::ScopedStopToken(const StopToken &token) : m_token(token), m_previous(t_token)
{
    t_token = &m_token;
}

ScopedStopToken::~ScopedStopToken()
{
    t_token = m_previous;
}

bool isStopped()
{
    return t_token && t_token->isStopped();
}

bool sleepUnlessStopped(int milliseconds)
{
    while (milliseconds > 0 && !isStopped()) {
        const int step = std::min(milliseconds, kStepMilliseconds);
        std::this_thread::sleep_for(std::chrono::milliseconds(step));
        milliseconds -= step;
    }
    return !isStopped();
}

} // namespace hq
