// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/attempts.h"

#include "net/failure.h"
#include "net/resource.h"
#include "net/s3/documents.h"
#include "net/timelimits.h"
#include "stoptoken.h"

#include <QRandomGenerator>

#include <algorithm>
#include <limits>

namespace hq {

namespace {

constexpr int kAttemptsOfPerson = 6;
constexpr int kFirstBackoffMilliseconds = 100;
constexpr int kLongestBackoffMilliseconds = 1000; // so that a server that is back is noticed
constexpr std::chrono::seconds kLongestTold{5};

bool isConnectionError(const HttpAnswer &answer)
{
    switch (answer.result) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WRITE_ERROR:
        // Not HTTP: the rest of an answer that was longer than it said.
        return answer.status == 0 && answer.isAfterOther;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_PARTIAL_FILE:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return true;
    default:
        return false;
    }
}

bool isBusyStatus(long status)
{
    return status == 408 || status == 429 || status == 500 || (status >= 502 && status <= 504);
}

} // namespace

Patience::Patience(Clock::duration length, int mostAttempts)
    : m_length(length), m_mostAttempts(mostAttempts), m_end(Clock::now() + length)
{
}

Patience Patience::ofPerson()
{
    return {timeLimits().person, kAttemptsOfPerson};
}

Patience Patience::ofCopy()
{
    return {timeLimits().copy, std::numeric_limits<int>::max()};
}

bool Attempts::again(Resource &resource, const HttpAnswer &answer)
{
    m_due = Clock::now();
    if (isStopped())
        return fail(Error::Cancelled);
    if (answer.result == CURLE_OK && m_lessons < kMostLessons) {
        switch (resource.learn(answer, m_patience)) {
        case Lesson::None:
            break;
        case Lesson::Learned:
            ++m_lessons;
            return true;
        case Lesson::Failed:
            return false;
        }
    }
    // An attempt cut short by the end of patience says less than the failure before it.
    if (m_attempts > 0 && answer.result == CURLE_OPERATION_TIMEDOUT && m_due >= m_patience.end())
        return failWith(m_lastFailure);
    if (!isTransient(answer) || ++m_attempts >= m_patience.mostAttempts())
        return failWith(answer);
    m_lastFailure = answer;
    m_due += backoff(m_attempts, answer);
    return m_due < m_patience.end() || failWith(answer);
}

bool Attempts::wait() const
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(m_due - Clock::now());
    return sleepUnlessStopped(static_cast<int>(left.count())) || fail(Error::Cancelled);
}

void Attempts::reset()
{
    m_attempts = 0;
    m_lessons = 0;
    m_patience.renew();
}

bool isTransient(const HttpAnswer &answer)
{
    if (answer.malformed)
        return true;
    const bool isBusy = isBusyStatus(answer.status);
    // The status alone tells most refusals, even when their document was cut off.
    if (answer.result != CURLE_OK)
        return isConnectionError(answer) && (answer.status <= 400 || isBusy);
    if (isBusy)
        return true;
    const std::string code = parseS3Error(answer.body).code;
    return code == "SlowDown" || code == "RequestTimeout" || code == "InternalError";
}

std::chrono::milliseconds backoff(int failures, const HttpAnswer &answer)
{
    int ceiling = kFirstBackoffMilliseconds;
    for (int i = 1; i < failures && ceiling < kLongestBackoffMilliseconds; ++i)
        ceiling *= 2;
    ceiling = std::min(ceiling, kLongestBackoffMilliseconds);
    const std::chrono::milliseconds own(
        QRandomGenerator::global()->bounded(ceiling / 2, ceiling + 1));
    // Not even one that says "at once" is asked without a pause.
    return std::max<std::chrono::milliseconds>(
        own, std::clamp(answer.retryAfter, std::chrono::seconds(0), kLongestTold));
}

} // namespace hq
