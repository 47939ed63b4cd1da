// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/rangedcopy.h"

#include "net/connectioncount.h"
#include "net/failure.h"
#include "stoptoken.h"

#include <algorithm>
#include <list>
#include <memory>

namespace hq {

namespace {

using Clock = Patience::Clock;
using std::chrono::milliseconds;

constexpr std::int64_t kMinPart = 8 * 1024 * 1024;

struct Part
{
    Part(std::int64_t first, std::int64_t behind) : position(first), end(behind) {}

    std::int64_t position; // of the next byte
    const std::int64_t end;
    std::int64_t requested = 0; // first byte of the last request
    unsigned round = 0;         // of the connection count, when the request was sent
    int adjustments = 0;
    std::unique_ptr<HttpTransfer> transfer;
};

std::int64_t partSize(std::int64_t objectSize)
{
    constexpr auto kMaxParts = static_cast<std::int64_t>(ConnectionCount::kMaxCount);
    return std::clamp((objectSize + kMaxParts - 1) / kMaxParts, kMinPart, kMaxSinglePart);
}

class PartsCopy
{
public:
    PartsCopy(const S3Object &object, TargetFile &target, const CopyProgressCallback &progress)
        : m_object(object)
        , m_target(target)
        , m_progress(progress)
        , m_connections(object.latencyMicroseconds)
        , m_partSize(partSize(object.size))
    {
    }

    bool run()
    {
        m_lastFailure.result = CURLE_OPERATION_TIMEDOUT; // while there is none
        while (m_done < m_object.size) {
            if (isStopped())
                return fail(Error::Cancelled);
            if (Clock::now() >= m_patience.end())
                return failWith(m_lastFailure);
            for (Part *part = nullptr; mayStart() && (part = nextPart());)
                start(*part);
            m_client->step(waitMilliseconds());
            if (!settleParts())
                return false;
            m_connections.update(m_done);
            if (m_progress)
                m_progress(m_done, m_object.size);
        }
        return true;
    }

private:
    // One that broke off, else the first bytes that no part has; null when none is left.
    Part *nextPart()
    {
        const auto isIdle = [](const Part &part) { return !part.transfer; };
        const auto idle = std::find_if(m_parts.begin(), m_parts.end(), isIdle);
        if (idle != m_parts.end())
            return &*idle;
        if (m_next == m_object.size)
            return nullptr;
        const std::int64_t start = m_next;
        m_next = std::min(start + m_partSize, m_object.size);
        return &m_parts.emplace_back(start, m_next);
    }

    // A server that refuses is left alone for a while: only what it has served makes room.
    bool mayStart() const
    {
        return m_running < m_connections.count() && (Clock::now() >= m_holdEnd || m_served > 0);
    }

    void start(Part &part)
    {
        RequestOptions options;
        options.range =
            "bytes=" + std::to_string(part.position) + "-" + std::to_string(part.end - 1);
        options.condition = m_object.validator.condition();
        part.requested = part.position;
        part.round = m_connections.round();
        part.transfer = std::make_unique<HttpTransfer>(
            m_object.resource->request(options),
            [this, &part](const char *data, std::size_t size) { return take(part, data, size); });
        ++m_running;
        m_served = std::max(m_served - 1, 0);
        m_client->start(*part.transfer);
    }

    Flow take(Part &part, const char *data, std::size_t size)
    {
        const auto length = static_cast<std::int64_t>(size);
        if (part.position == part.requested) {
            if (!isWanted(part))
                return Flow::Abort;
            m_connections.accept(part.round);
            m_failures = 0;
            part.adjustments = 0;
        }
        if (length > part.end - part.position)
            return refuse(Error::InvalidServerResponse);
        if (!m_target.writeAt(part.position, data, size)) {
            m_writeFailed = true;
            return Flow::Abort;
        }
        part.position += length;
        m_done += length;
        m_patience.renew();
        return Flow::Continue;
    }

    Flow refuse(Error error)
    {
        if (m_failure == Error::None)
            m_failure = error;
        return Flow::Abort;
    }

    // Whether the response has the bytes that were asked for, of the same object.
    bool isWanted(Part &part)
    {
        const HttpResponse &response = part.transfer->response();
        const ContentRange range = contentRange(response);
        if ((range.total >= 0 && range.total != m_object.size) ||
            !m_object.validator.accepts(response))
            refuse(Error::SourceChanged);
        else if (response.status != 206 || range.first != part.requested ||
                 range.last != part.end - 1)
            refuse(Error::InvalidServerResponse);
        return m_failure == Error::None;
    }

    // Takes out what has ended; false when the copy has.
    bool settleParts()
    {
        if (m_writeFailed)
            return false; // the last error tells why
        for (auto next = m_parts.begin(); next != m_parts.end();) {
            const auto part = next++;
            if (!part->transfer || !part->transfer->isDone())
                continue;
            HttpResponse response = std::move(part->transfer->response());
            part->transfer.reset();
            --m_running;
            if (m_failure != Error::None && response.result == CURLE_WRITE_ERROR)
                return failWith(response, m_failure);
            if (part->position == part->end) {
                ++m_served;
                m_parts.erase(part);
            } else if (!settleFailure(*part, response)) {
                return false;
            }
        }
        return true;
    }

    // A part that can be had later is never given up; it goes on from where it got to.
    bool settleFailure(Part &part, HttpResponse &response)
    {
        response.isMalformed = response.isSuccess(); // fewer bytes than promised
        const Adjustment adjustment =
            adjust(*m_object.resource, response, m_patience, &part.adjustments);
        if (adjustment != Adjustment::None) {
            ++m_served;
            return adjustment == Adjustment::Adjusted;
        }
        if (!isTransient(response))
            return failWith(response);
        const bool isCut = response.result == CURLE_PARTIAL_FILE && part.position > part.requested;
        if (isCut) {
            ++m_served;
        } else if (m_connections.refuse(part.round)) {
            if (Clock::now() >= m_holdEnd)
                m_served = 0;
            m_holdEnd = std::max(m_holdEnd, Clock::now() + backoff(++m_failures, response));
        }
        m_lastFailure = std::move(response);
        return true;
    }

    int waitMilliseconds() const
    {
        auto wait = milliseconds(kStopPollMilliseconds);
        if (m_running < m_connections.count())
            wait =
                std::min(wait, std::chrono::duration_cast<milliseconds>(m_holdEnd - Clock::now()));
        return std::max(1, static_cast<int>(wait.count()));
    }

    const S3Object &m_object;
    TargetFile &m_target;
    const CopyProgressCallback &m_progress;
    ConnectionCount m_connections;
    const HttpClient::Lease m_client = HttpClient::lease();
    std::list<Part> m_parts; // under way or broken off
    std::size_t m_running = 0;
    const std::int64_t m_partSize;
    std::int64_t m_next = 0; // first byte that no part has
    std::int64_t m_done = 0;
    Patience m_patience = Patience::ofCopy();
    int m_failures = 0;          // refused rounds since the last byte of a response
    Clock::time_point m_holdEnd; // no more requests before, but in the place of
    int m_served = 0;            // so many responses
    HttpResponse m_lastFailure;
    bool m_writeFailed = false;
    Error m_failure = Error::None;
};

} // namespace

bool copyInParts(const S3Object &object, TargetFile &target, const CopyProgressCallback &progress)
{
    return PartsCopy(object, target, progress).run();
}

} // namespace hq
