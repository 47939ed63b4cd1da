// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/pages.h"

#include "stoptoken.h"

#include <algorithm>
#include <utility>

namespace hq {

S3Pages::S3Pages(HttpClient &client, const S3Address &address, const std::string &prefix,
                 int maxKeys)
    : m_client(client)
    , m_isAccount(address.bucket.empty())
    , m_paginator(prefix, maxKeys)
    , m_resource(address, {})
{
}

S3Pages::S3Pages(const S3Pages &first, const std::string &prefix, const std::string &after)
    : m_client(first.m_client)
    , m_isAccount(first.m_isAccount)
    , m_paginator(prefix, kMaxKeys, after)
    , m_resource(first.m_resource)
{
}

bool S3Pages::poll()
{
    if (m_page || m_error != 0)
        return true;
    // Time in which nobody polls is nobody's wait.
    constexpr std::chrono::milliseconds kUnattended{5 * kStopPollMilliseconds};
    if (RetryState::Clock::now() - m_polled > kUnattended)
        m_retryState.patience().resume();
    advance();
    m_retryState.patience().pause();
    m_polled = RetryState::Clock::now();
    return m_page || m_error != 0;
}

void S3Pages::advance()
{
    if (isStopped())
        breakOff(Error::Cancelled);
    else if (m_paginator.state() == S3Paginator::State::Stuck)
        breakOff(Error::InvalidServerResponse,
                 "the server says that there is more and gives the same again");
    else if (!m_transfer && m_retryState.due() <= RetryState::Clock::now())
        send();
    else if (m_transfer && m_transfer->isDone())
        settle();
}

int S3Pages::waitMilliseconds() const
{
    using std::chrono::milliseconds;
    auto wait = milliseconds(kStopPollMilliseconds);
    if (!m_transfer)
        wait = std::min(
            wait, std::chrono::ceil<milliseconds>(m_retryState.due() - RetryState::Clock::now()));
    return std::max(0, static_cast<int>(wait.count()));
}

void S3Pages::wait()
{
    while (!poll())
        m_client.step(waitMilliseconds());
}

std::optional<S3Listing> S3Pages::take()
{
    if (!m_page) {
        setLastSystemError(m_error);
        setFailureDetails(m_details);
    }
    m_failures = 0;
    m_polled = RetryState::Clock::now();
    return std::exchange(m_page, std::nullopt);
}

void S3Pages::send()
{
    if (m_failures == 0)
        m_retryState.reset(); // time runs from here on, not while nobody asks
    if (!m_isAccount)
        m_resource.setQuery(m_paginator.query());
    HttpRequest request = m_resource.request({});
    request.deadline = m_retryState.patience().end();
    m_transfer = std::make_unique<HttpTransfer>(std::move(request));
    m_client.start(*m_transfer);
    m_client.step(0);
}

void S3Pages::settle()
{
    m_response = std::move(m_transfer->response());
    m_transfer.reset();
    if (m_response.isSuccess()) {
        m_page = parseS3Listing(m_response.body);
        if (m_page) {
            m_response.body = std::string();
            m_paginator.take(*m_page);
            return;
        }
        m_response.isMalformed = true;
    }
    ++m_failures;
    if (!m_retryState.shouldRetry(m_resource, m_response))
        keepFailure();
}

void S3Pages::breakOff(Error error, const char *advice)
{
    setLastError(error);
    setFailureDetails({m_response.status, {}, advice});
    keepFailure();
}

void S3Pages::keepFailure()
{
    m_error = lastError();
    m_details = failureDetails();
}

} // namespace hq
