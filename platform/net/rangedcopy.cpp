// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/rangedcopy.h"

#include <algorithm>
#include <list>
#include <memory>

namespace hq {

namespace {

using Clock = Attempts::Clock;
using std::chrono::milliseconds;

constexpr std::int64_t kSmallestPart = 8 * 1024 * 1024;
constexpr std::size_t kMostConnections = 32;
constexpr std::size_t kFirstConnections = 4;
constexpr int kNearMicroseconds = 3000; // an answer that comes as fast needs no company
constexpr milliseconds kRateWindow{150};
constexpr double kWorthwhileGain = 1.15;

struct Part
{
    std::int64_t position; // of the next byte
    std::int64_t end;
    std::int64_t requested = 0; // first byte of the request under way
    Attempts attempts;
    std::unique_ptr<Transfer> transfer;

    bool isComplete() const { return position == end; }
};

std::int64_t partSize(std::int64_t objectSize)
{
    const auto share = (objectSize + static_cast<std::int64_t>(kMostConnections) - 1) /
                       static_cast<std::int64_t>(kMostConnections);
    return std::clamp(share, kSmallestPart, kLargestSinglePart);
}

// How many connections are worth having: all at once to a server that takes its time, otherwise a
// few, and more for as long as each doubling raises the rate.
class ConnectionCount
{
public:
    explicit ConnectionCount(int latencyMicroseconds)
        : m_count(latencyMicroseconds < kNearMicroseconds ? kFirstConnections : kMostConnections)
        , m_windowStart(Clock::now())
    {
    }

    std::size_t count() const { return m_count; }

    void update(std::int64_t done)
    {
        const auto now = Clock::now();
        if (m_settled || now - m_windowStart < kRateWindow)
            return;
        const double rate = static_cast<double>(done - m_windowDone) /
                            std::chrono::duration<double>(now - m_windowStart).count();
        if (m_count >= kMostConnections || rate < m_rate * kWorthwhileGain)
            m_settled = true;
        else
            m_count = std::min(m_count * 2, kMostConnections);
        m_rate = rate;
        m_windowStart = now;
        m_windowDone = done;
    }

private:
    std::size_t m_count;
    Clock::time_point m_windowStart;
    std::int64_t m_windowDone = 0;
    double m_rate = 0;
    bool m_settled = false;
};

class PartsCopy
{
public:
    PartsCopy(const S3Object &object, TargetFile &target, const CopyProgress &progress)
        : m_object(object)
        , m_target(target)
        , m_progress(progress)
        , m_connections(object.latencyMicroseconds)
        , m_partSize(partSize(object.size))
    {
    }

    bool run()
    {
        while (m_done < m_object.size) {
            if (isStopped())
                return fail(Error::Cancelled);
            startParts();
            m_client.step(waitMilliseconds());
            if (!settleParts())
                return false;
            m_connections.update(m_done);
            report();
        }
        return true;
    }

private:
    void startParts()
    {
        // A part that waits for its next attempt keeps its place: a server that asks for patience
        // is not asked for more.
        std::size_t running = 0;
        for (const auto &part : m_parts) {
            if (!part->transfer && part->attempts.due() <= Clock::now() &&
                running < m_connections.count())
                start(*part);
            ++running;
        }
        for (; running < m_connections.count() && m_next < m_object.size; ++running) {
            auto part = std::make_unique<Part>();
            part->position = m_next;
            part->end = std::min(m_next + m_partSize, m_object.size);
            m_next = part->end;
            start(*part);
            m_parts.push_back(std::move(part));
        }
    }

    void start(Part &part)
    {
        RequestOptions options;
        options.range =
            "bytes=" + std::to_string(part.position) + "-" + std::to_string(part.end - 1);
        options.ifMatch = m_object.etag;
        part.requested = part.position;
        part.transfer = std::make_unique<Transfer>(
            m_object.resource->request(options),
            [this, &part](const char *data, std::size_t size) { return take(part, data, size); });
        m_client.start(*part.transfer);
    }

    Flow take(Part &part, const char *data, std::size_t size)
    {
        const auto length = static_cast<std::int64_t>(size);
        if (length > part.end - part.position ||
            (part.position == part.requested && !isWanted(part))) {
            if (m_failure == Error::None)
                m_failure = Error::InvalidServerResponse;
            return Flow::Abort;
        }
        if (!m_target.writeAt(part.position, data, size)) {
            m_writeFailed = true;
            return Flow::Abort;
        }
        part.position += length;
        m_done += length;
        return Flow::Continue;
    }

    // Whether the answer has the bytes that were asked for, of the same object.
    bool isWanted(Part &part)
    {
        const HttpAnswer &answer = part.transfer->answer();
        const ContentRange range = contentRange(answer);
        const std::string etag = answer.strongEtag();
        if ((range.total >= 0 && range.total != m_object.size) ||
            (!etag.empty() && !m_object.etag.empty() && etag != m_object.etag))
            m_failure = Error::SourceChanged;
        return m_failure == Error::None && answer.status == 206 && range.first == part.requested &&
               range.last == part.end - 1;
    }

    // Takes out what has ended; false when a part cannot be had.
    bool settleParts()
    {
        if (m_writeFailed)
            return false; // the last error tells why
        if (m_failure != Error::None)
            return fail(m_failure);
        for (auto it = m_parts.begin(); it != m_parts.end();) {
            Part &part = **it;
            if (!part.transfer || !part.transfer->isDone()) {
                ++it;
                continue;
            }
            HttpAnswer answer = std::move(part.transfer->answer());
            part.transfer.reset();
            if (part.isComplete()) {
                it = m_parts.erase(it);
                continue;
            }
            if (answer.isSuccess())
                answer.malformed = true; // fewer bytes than promised
            if (!part.attempts.again(*m_object.resource, answer))
                return false;
            ++it;
        }
        return true;
    }

    int waitMilliseconds() const
    {
        auto wait = milliseconds(kStopPollMilliseconds);
        for (const auto &part : m_parts) {
            if (!part->transfer)
                wait = std::min(wait, std::chrono::duration_cast<milliseconds>(
                                          part->attempts.due() - Clock::now()));
        }
        return std::max(1, static_cast<int>(wait.count()));
    }

    void report()
    {
        if (m_progress)
            m_progress(m_done, m_object.size);
    }

    const S3Object &m_object;
    TargetFile &m_target;
    const CopyProgress &m_progress;
    ConnectionCount m_connections;
    HttpClient &m_client = HttpClient::ofThread();
    std::list<std::unique_ptr<Part>> m_parts;
    const std::int64_t m_partSize;
    std::int64_t m_next = 0; // first byte that no part has
    std::int64_t m_done = 0;
    bool m_writeFailed = false;
    Error m_failure = Error::None;
};

} // namespace

bool copyInParts(const S3Object &object, TargetFile &target, const CopyProgress &progress)
{
    return PartsCopy(object, target, progress).run();
}

} // namespace hq
