// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/responsebody.h"

#include "base/lasterror.h"
#include "stoptoken.h"

#include <algorithm>

namespace hq {

ResponseBody::ResponseBody(HttpClient &client, HttpRequest request, ArrivalCallback arrival)
    : m_client(client)
    , m_onArrival(std::move(arrival))
    , m_transfer(std::move(request),
                 [this](const char *data, std::size_t size) { return receive(data, size); })
{
    client.start(m_transfer);
}

Flow ResponseBody::receive(const char *data, std::size_t size)
{
    constexpr std::size_t kMaxThrownAway = 256 * 1024;
    if (m_isAbandoned) {
        m_thrownAway += size;
        return m_thrownAway > kMaxThrownAway ? Flow::Abort : Flow::Continue;
    }
    if (buffered() >= m_limit)
        return Flow::Pause;
    if (buffered() == 0) {
        m_buffer.clear();
        m_start = 0;
    }
    const std::int64_t skipped = std::min(m_skip, static_cast<std::int64_t>(size));
    m_skip -= skipped;
    m_buffer.append(data + skipped, data + size);
    m_onArrival(buffered());
    return Flow::Continue;
}

template <typename Condition>
bool ResponseBody::stepUntil(Condition condition)
{
    while (!isDone() && !condition()) {
        if (isStopped())
            return fail(Error::Cancelled);
        m_client.step(kStopPollMilliseconds);
    }
    return true;
}

bool ResponseBody::awaitHead()
{
    // A refusal's document explains it, so it is read to its end.
    return stepUntil([this] { return m_transfer.hasHeaders() && response().isSuccess(); });
}

bool ResponseBody::fill(std::int64_t limit, HttpRequest::Clock::time_point deadline)
{
    m_limit = limit;
    m_transfer.resume(deadline);
    return stepUntil([this, limit] { return buffered() >= limit; });
}

std::int64_t ResponseBody::take(char *to, std::int64_t count)
{
    const auto taken = static_cast<std::size_t>(std::min(count, buffered()));
    if (to)
        m_buffer.copy(to, taken, m_start);
    m_start += taken;
    return static_cast<std::int64_t>(taken);
}

void ResponseBody::abandon()
{
    m_isAbandoned = true;
    m_transfer.resume(HttpRequest::Clock::time_point::max());
    m_client.step(0);
}

} // namespace hq
