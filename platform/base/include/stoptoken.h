// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Stopping the utility library's long calls.
#pragma once

#include <atomic>
#include <memory>

namespace hq {

// A flag that one party sets and the calls of other threads look at. Copies share the flag, which
// never goes back. Any thread.
class StopToken
{
public:
    StopToken() : m_stopped(std::make_shared<std::atomic<bool>>(false)) {}

    void stop() const { m_stopped->store(true, std::memory_order_release); }
    bool isStopped() const { return m_stopped->load(std::memory_order_acquire); }

private:
    std::shared_ptr<std::atomic<bool>> m_stopped;
};

// Makes the utility library's calls of this thread end with error 1223 within 250 ms of
// `token.stop()`, as long as the object lives. Tokens set before count as well.
class ScopedStopToken
{
public:
    explicit ScopedStopToken(const StopToken &token);
    ~ScopedStopToken();
    ScopedStopToken(const ScopedStopToken &) = delete;
    ScopedStopToken &operator=(const ScopedStopToken &) = delete;

    bool isAnyStopped() const;

private:
    StopToken m_token;
    const ScopedStopToken *m_outer;
};

// Length of a wait between two looks at a token, in milliseconds.
constexpr int kStopPollMilliseconds = 50;

// Whether a token of this thread, if it has one, is stopped.
bool isStopped();

// Sleeps in steps until `milliseconds` are over or a token of the thread is stopped; false when one
// is stopped.
bool sleepUnlessStopped(int milliseconds);

} // namespace hq
