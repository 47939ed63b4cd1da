// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// One network source as the transfers see it: it makes the requests, learns from refusals, and
// says which failures are worth another attempt.
#pragma once

#include "base/lasterror.h"
#include "net/http.h"

#include <chrono>
#include <functional>
#include <string>

namespace hq {

struct RequestOptions
{
    std::string method = "GET";
    std::string range;   // "bytes=0-99", empty for the whole
    std::string ifMatch; // an ETag, empty for any
};

class Resource
{
public:
    virtual ~Resource() = default;
    virtual HttpRequest request(const RequestOptions &options) = 0;
    // Whether the answer, a refusal, taught something that makes the same request worth sending
    // again at once: another region, the server's clock, a token that has run out.
    virtual bool learn(const HttpAnswer &answer) = 0;
};

// Counts the attempts of one request or part and says when the next one is due.
class Attempts
{
public:
    using Clock = std::chrono::steady_clock;

    // Looks at an answer that is not what was asked for. True: send the request again, not before
    // due(). False: give up; the thread's last error says why.
    bool again(Resource &resource, const HttpAnswer &answer);
    Clock::time_point due() const { return m_due; }
    // Waits until due(); false when the thread is stopped.
    bool wait() const;

private:
    int m_attempts = 0;
    int m_lessons = 0;
    Clock::time_point m_due;
};

// Sends a request until it succeeds or its attempts are used up; false sets the last error.
// `answer` is the last one either way. A success that `check` does not accept is tried again.
using AnswerCheck = std::function<bool(const HttpAnswer &)>;
bool perform(Resource &resource, const RequestOptions &options, HttpAnswer *answer,
             const AnswerCheck &check = {});

// Code of a failed answer.
Error errorOf(const HttpAnswer &answer);

// First and last byte and whole size of a Content-Range header; -1 where it does not say.
struct ContentRange
{
    std::int64_t first = -1;
    std::int64_t last = -1;
    std::int64_t total = -1;
};
ContentRange contentRange(const HttpAnswer &answer);

} // namespace hq
