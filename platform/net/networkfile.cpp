// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/networkfile.h"

#include "net/text.h"
#include "transfer.h"

#include <algorithm>
#include <cstring>

namespace hq {

namespace {
constexpr std::size_t kReadAhead = 1024 * 1024;
constexpr std::size_t kMostBufferedForSize = 64 * 1024 * 1024;
} // namespace

NetworkFile::NetworkFile(std::unique_ptr<Resource> resource, std::int64_t size, std::string etag)
    : m_resource(std::move(resource)), m_size(size), m_etag(std::move(etag))
{
}

void NetworkFile::drop()
{
    m_transfer.reset();
    m_buffer.clear();
    m_bufferStart = 0;
    m_bufferLimit = 0;
    m_skip = 0;
}

Flow NetworkFile::take(const char *data, std::size_t size)
{
    if (buffered() >= m_bufferLimit)
        return Flow::Pause;
    if (m_bufferStart == m_buffer.size()) {
        m_buffer.clear();
        m_bufferStart = 0;
    }
    const auto skipped =
        static_cast<std::size_t>(std::min<std::int64_t>(m_skip, static_cast<std::int64_t>(size)));
    m_skip -= static_cast<std::int64_t>(skipped);
    m_buffer.append(data + skipped, size - skipped);
    return Flow::Continue;
}

bool NetworkFile::start()
{
    Attempts attempts;
    return startAt(0, attempts);
}

bool NetworkFile::startAt(std::int64_t position, Attempts &attempts)
{
    do {
        drop();
        RequestOptions options;
        if (position > 0)
            options.range = "bytes=" + std::to_string(position) + "-";
        options.ifMatch = m_etag;
        m_transfer = std::make_unique<Transfer>(
            m_resource->request(options),
            [this](const char *data, std::size_t size) { return take(data, size); });
        m_client.start(*m_transfer);
        while (!m_transfer->isDone() && !m_transfer->hasHeaders()) {
            if (isStopped()) {
                drop();
                return fail(Error::Cancelled);
            }
            m_client.step(kStopPollMilliseconds);
        }
        const HttpAnswer &answer = m_transfer->answer();
        if (answer.status >= 200 && answer.status < 300 && answer.result == CURLE_OK) {
            m_answer = answer;
            return accept(position);
        }
        // A refusal's document explains it, so it is read to its end.
        while (!m_transfer->isDone() && !isStopped())
            m_client.step(kStopPollMilliseconds);
        m_answer = std::move(m_transfer->answer());
        drop();
        if (isStopped())
            return fail(Error::Cancelled);
    } while (attempts.again(*m_resource, m_answer) && attempts.wait());
    return false;
}

// Looks at the headers of a success that was asked to begin at `position`.
bool NetworkFile::accept(std::int64_t position)
{
    const std::string etag = m_answer.strongEtag();
    if (position > 0 && !m_etag.empty() && !etag.empty() && etag != m_etag) {
        drop();
        return fail(Error::SourceChanged);
    }
    const std::int64_t length = m_answer.contentLength();
    std::int64_t total = length;
    if (m_answer.status == 206) {
        const ContentRange range = contentRange(m_answer);
        if (range.first != position) {
            drop();
            return fail(Error::InvalidServerResponse);
        }
        total = range.total;
    } else {
        m_skip = position; // a server that does not know ranges sends it all
    }
    if (m_size >= 0 && total >= 0 && total != m_size) {
        drop();
        return fail(position > 0 ? Error::SourceChanged : Error::InvalidServerResponse);
    }
    if (m_size < 0)
        m_size = total;
    if (m_etag.empty())
        m_etag = etag;
    return true;
}

// After a lost connection: whether to go on, at the byte that would have come next.
bool NetworkFile::restart(Attempts &attempts)
{
    m_answer = std::move(m_transfer->answer());
    drop();
    return attempts.again(*m_resource, m_answer) && attempts.wait() &&
           startAt(m_position, attempts);
}

// Lets the transfer run until the buffer holds `limit` bytes or the source has ended; then the
// transfer is done without an error. What the buffer held is lost when the connection is.
bool NetworkFile::waitForData(std::size_t limit, Attempts &attempts)
{
    while (true) {
        m_bufferLimit = limit;
        m_transfer->resume();
        while (!m_transfer->isDone() && buffered() < limit) {
            if (isStopped()) {
                drop();
                return fail(Error::Cancelled);
            }
            m_client.step(kStopPollMilliseconds);
        }
        if (!m_transfer->isDone() || m_transfer->answer().result == CURLE_OK)
            return true;
        if (buffered() > 0 && limit <= kReadAhead)
            return true; // these bytes are good; the loss shows when they are used up
        if (!restart(attempts))
            return false;
    }
}

bool NetworkFile::read(void *buffer, std::uint32_t count, std::uint32_t *read)
{
    Attempts attempts;
    const std::int64_t before = m_position;
    std::uint32_t done = 0;
    while (done < count && (m_size < 0 || m_position < m_size)) {
        if (const std::size_t ready = buffered()) {
            const auto part =
                static_cast<std::uint32_t>(std::min<std::size_t>(ready, count - done));
            std::memcpy(static_cast<char *>(buffer) + done, m_buffer.data() + m_bufferStart, part);
            m_bufferStart += part;
            m_position += part;
            done += part;
            continue;
        }
        bool good = m_transfer || startAt(m_position, attempts);
        good = good && waitForData(std::min<std::size_t>(count - done, kReadAhead), attempts);
        if (good && buffered() == 0) {
            if (m_size < 0)
                m_size = m_position - m_skip; // the end of a source that did not tell its size
            else
                good = fail(Error::ConnectionLost);
        }
        if (!good && m_size < 0 && m_answer.status == 416) {
            drop();
            break; // behind the end of a source that did not tell its size
        }
        if (!good) {
            m_position = before;
            drop();
            *read = 0;
            return false;
        }
    }
    *read = done;
    return true;
}

bool NetworkFile::size(std::int64_t *size)
{
    if (m_size < 0) {
        Attempts attempts;
        if (!m_transfer && !startAt(m_position, attempts))
            return false;
        if (m_size < 0 && !waitForData(kMostBufferedForSize, attempts))
            return false;
        if (m_size < 0 && m_transfer->isDone())
            m_size = m_position + static_cast<std::int64_t>(buffered());
    }
    *size = m_size;
    return true;
}

bool NetworkFile::seek(std::int64_t position)
{
    if (position < 0)
        return fail(Error::InvalidParameter);
    const std::int64_t ahead = position - m_position;
    if (ahead >= 0 && ahead <= static_cast<std::int64_t>(buffered()))
        m_bufferStart += static_cast<std::size_t>(ahead);
    else
        drop();
    m_position = position;
    return true;
}

bool NetworkFile::hasNextPage() const
{
    if (!m_answer.header("x-paging-nextkey").empty())
        return true;
    // <address>; rel="next", <address>; rel="last"
    const std::string links = lowerCase(m_answer.header("link"));
    for (std::size_t at = links.find("rel="); at != std::string::npos;
         at = links.find("rel=", at + 1)) {
        const std::size_t end = links.find_first_of(";,", at);
        if (links.substr(at, end - at).find("next") != std::string::npos)
            return true;
    }
    return false;
}

} // namespace hq
