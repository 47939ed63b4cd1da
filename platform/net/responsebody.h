// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/http.h"

#include <functional>
#include <string>

namespace hq {

// The body of one GET, which stops whenever nobody reads. Must not outlive the client.
class ResponseBody
{
public:
    // Called with the bytes in the buffer whenever some have come.
    using ArrivalCallback = std::function<void(std::int64_t buffered)>;

    // Sends the request.
    ResponseBody(HttpClient &client, HttpRequest request, ArrivalCallback arrival);

    // Waits for the head of a success or for the whole of a refusal; false when the thread is
    // stopped.
    bool awaitHead();
    // Has the next `bytes` of those to come passed over.
    void skip(std::int64_t bytes) { m_skip = bytes; }
    // How many of them have not come.
    std::int64_t toSkip() const { return m_skip; }
    // Waits until the buffer holds `limit` bytes or nothing more comes; false when the thread is
    // stopped.
    bool fill(std::int64_t limit, HttpRequest::Clock::time_point deadline);
    // Takes at most `count` bytes out of the buffer; a null `to` drops them.
    std::int64_t take(char *to, std::int64_t count);
    // Lets the rest of a small body come, so that its connection can be used again.
    void abandon();

    std::int64_t buffered() const { return static_cast<std::int64_t>(m_buffer.size() - m_start); }
    bool isDone() const { return m_transfer.isDone(); }
    HttpResponse &response() { return m_transfer.response(); }

private:
    Flow receive(const char *data, std::size_t size);
    template <typename Condition>
    bool stepUntil(Condition condition);

    HttpClient &m_client;
    const ArrivalCallback m_onArrival;
    std::string m_buffer;
    std::size_t m_start = 0; // of what was not taken
    std::int64_t m_limit = 0;
    std::int64_t m_skip = 0;
    bool m_isAbandoned = false;
    std::size_t m_thrownAway = 0;
    HttpTransfer m_transfer;
};

} // namespace hq
