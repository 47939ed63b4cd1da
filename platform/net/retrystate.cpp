// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/retrystate.h"

#include "net/errordocument.h"
#include "net/failure.h"
#include "net/resource.h"
#include "net/timelimits.h"
#include "stoptoken.h"

#include <QRandomGenerator>

#include <algorithm>
#include <iterator>
#include <limits>

namespace hq {

namespace {

constexpr int kAttemptsOfPerson = 6;
constexpr int kFirstBackoffMilliseconds = 100;
constexpr int kMaxBackoffMilliseconds = 1000; // so that a server that is back is noticed
constexpr std::chrono::seconds kMaxTold{5};

bool isConnectionError(const HttpResponse &response)
{
    static constexpr CURLcode kErrors[] = {CURLE_COULDNT_RESOLVE_PROXY,
                                           CURLE_COULDNT_RESOLVE_HOST,
                                           CURLE_COULDNT_CONNECT,
                                           CURLE_WEIRD_SERVER_REPLY,
                                           CURLE_PARTIAL_FILE,
                                           CURLE_OPERATION_TIMEDOUT,
                                           CURLE_SSL_CONNECT_ERROR,
                                           CURLE_GOT_NOTHING,
                                           CURLE_SEND_ERROR,
                                           CURLE_RECV_ERROR};
    // Not HTTP: the rest of a response that was longer than it said.
    if (response.result == CURLE_UNSUPPORTED_PROTOCOL || response.result == CURLE_WRITE_ERROR)
        return response.status == 0 && response.isOnReusedConnection;
    return std::find(std::begin(kErrors), std::end(kErrors), response.result) != std::end(kErrors);
}

bool isBusyStatus(long status)
{
    return status == 408 || status == 429 || status == 500 || (status >= 502 && status <= 504);
}

} // namespace

Patience::Patience(Clock::duration length, int maxAttempts)
    : m_length(length), m_maxAttempts(maxAttempts), m_end(Clock::now() + length)
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

bool RetryState::shouldRetry(Resource &resource, const HttpResponse &response)
{
    m_due = Clock::now();
    if (isStopped())
        return fail(Error::Cancelled);
    const Adjustment adjustment = adjust(resource, response, m_patience, &m_adjustments);
    if (adjustment != Adjustment::None)
        return adjustment == Adjustment::Adjusted;
    // An attempt cut short by the end of patience says less than the failure before it.
    if (m_count > 0 && response.result == CURLE_OPERATION_TIMEDOUT && m_due >= m_patience.end())
        return failWith(m_lastFailure);
    if (!isTransient(response) || ++m_count >= m_patience.maxAttempts())
        return failWith(response);
    m_lastFailure = response;
    m_due += backoff(m_count, response);
    return m_due < m_patience.end() || failWith(response);
}

bool RetryState::wait() const
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(m_due - Clock::now());
    return sleepUnlessStopped(static_cast<int>(left.count())) || fail(Error::Cancelled);
}

void RetryState::reset()
{
    m_count = 0;
    m_adjustments = 0;
    m_patience.renew();
}

Adjustment adjust(Resource &resource, const HttpResponse &response, const Patience &patience,
                  int *count)
{
    constexpr int kMaxAdjustments = 3;
    if (response.result != CURLE_OK || *count >= kMaxAdjustments)
        return Adjustment::None;
    const Adjustment adjustment = resource.adjust(response, patience);
    *count += adjustment == Adjustment::Adjusted ? 1 : 0;
    return adjustment;
}

bool isTransient(const HttpResponse &response)
{
    if (response.isMalformed)
        return true;
    const bool isBusy = isBusyStatus(response.status);
    // The status alone tells most refusals, even when their document was cut off.
    if (response.result != CURLE_OK)
        return isConnectionError(response) && (response.status <= 400 || isBusy);
    if (isBusy)
        return true;
    const std::string code = parseS3Error(response.body).code;
    return code == "SlowDown" || code == "RequestTimeout" || code == "InternalError";
}

std::chrono::milliseconds backoff(int failures, const HttpResponse &response)
{
    int ceiling = kFirstBackoffMilliseconds;
    for (int i = 1; i < failures && ceiling < kMaxBackoffMilliseconds; ++i)
        ceiling *= 2;
    ceiling = std::min(ceiling, kMaxBackoffMilliseconds);
    const std::chrono::milliseconds own(
        QRandomGenerator::global()->bounded(ceiling / 2, ceiling + 1));
    // Not even one that says "at once" is asked without a pause.
    return std::max<std::chrono::milliseconds>(
        own, std::clamp(response.retryAfter, std::chrono::seconds(0), kMaxTold));
}

} // namespace hq
