// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// How long and how often something is tried again.
#pragma once

#include "net/http.h"

namespace hq {

enum class Adjustment;
class Resource;

// The time that may pass without a byte of what was asked for, and the number of attempts in it.
class Patience
{
public:
    using Clock = HttpRequest::Clock;

    // Of a person who waits for a response.
    static Patience ofPerson();
    // Of a copy, which nothing but silence ends.
    static Patience ofCopy();

    Clock::time_point end() const { return m_end; }
    int maxAttempts() const { return m_maxAttempts; }
    // A byte came.
    void renew() { m_end = Clock::now() + m_length; }
    // The time between pause() and resume() does not count, because nobody waits.
    void pause() { m_paused = Clock::now(); }
    void resume() { m_end += Clock::now() - m_paused; }

private:
    Patience(Clock::duration length, int maxAttempts);

    Clock::duration m_length;
    int m_maxAttempts;
    Clock::time_point m_end;
    Clock::time_point m_paused;
};

// Counts the attempts of one request and says when the next one is due.
class RetryState
{
public:
    using Clock = Patience::Clock;

    explicit RetryState(const Patience &patience = Patience::ofPerson()) : m_patience(patience) {}

    // Judges a response that is not what was asked for. True: make the request again, not before
    // due(). False: give up; the thread's last error and its details say why, Cancelled when a
    // token of the thread is stopped.
    bool shouldRetry(Resource &resource, const HttpResponse &response);
    Clock::time_point due() const { return m_due; }
    // Waits until due(); false when the thread is stopped.
    bool wait() const;
    // Count and time begin anew: something of what was asked for has come.
    void reset();

    Patience &patience() { return m_patience; }

private:
    Patience m_patience;
    int m_count = 0;
    int m_adjustments = 0;
    HttpResponse m_lastFailure;
    Clock::time_point m_due;
};

// Lets a refusal correct the requests. Three in a row may, each for a reason of its own (region,
// clock and token); the next one is final. `*count` has those so far.
Adjustment adjust(Resource &resource, const HttpResponse &response, const Patience &patience,
                  int *count);

// Whether the same request may succeed later.
bool isTransient(const HttpResponse &response);

// A random wait that grows with the failures in a row, longer when the server asks for that.
std::chrono::milliseconds backoff(int failures, const HttpResponse &response);

} // namespace hq
