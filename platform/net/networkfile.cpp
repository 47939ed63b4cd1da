// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/networkfile.h"

#include "base/text.h"
#include "net/failure.h"
#include "stoptoken.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace hq {

namespace {

constexpr std::size_t kReadAhead = 1024 * 1024;
constexpr std::size_t kMostBufferedForSize = 64 * 1024 * 1024;
constexpr std::uint32_t kMostAtOnce = 256 * 1024 * 1024;
constexpr std::size_t kMostThrownAway = 256 * 1024;
constexpr std::int64_t kWorthwhile = 64 * 1024; // a server that gives less each time wears us out
constexpr int kMostRepeats = 6;                 // in a row, of a source that never comes further
// Positions behind it are past the end of everything; up to it sums cannot overflow.
constexpr std::int64_t kLastPosition = std::numeric_limits<std::int64_t>::max() - (1LL << 40);

// The time of a call counts, the time between two calls does not.
class Waiting
{
public:
    explicit Waiting(Patience &patience) : m_patience(patience) { m_patience.resume(); }
    ~Waiting() { m_patience.pause(); }
    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

private:
    Patience &m_patience;
};

} // namespace

NetworkFile::NetworkFile(std::unique_ptr<Resource> resource, std::int64_t size, Validator validator,
                         const Patience &patience)
    : m_resource(std::move(resource))
    , m_givenSize(size)
    , m_size(size)
    , m_validator(std::move(validator))
    , m_isFirst(!m_validator.exists())
    , m_attempts(patience)
{
    m_attempts.patience().pause();
}

NetworkFile::~NetworkFile()
{
    if (!m_transfer || m_transfer->isDone())
        return;
    // The end of a small answer may be here already; its connection can then be used again.
    m_isClosing = true;
    m_transfer->resume(Patience::Clock::time_point::max());
    m_client->step(0);
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
    if (m_isClosing) {
        m_thrownAway += size;
        return m_thrownAway > kMostThrownAway ? Flow::Abort : Flow::Continue;
    }
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
    m_attempts.patience().renew();
    // What came before a cut and comes again is no progress.
    m_isRepeating = true;
    const std::int64_t end = m_position + static_cast<std::int64_t>(buffered());
    if (end > m_furthest) {
        m_furthest = end;
        m_isRepeating = false;
        m_repeats = 0;
        if (end - m_counted >= kWorthwhile) {
            m_counted = end;
            m_attempts.reset();
        }
    }
    return Flow::Continue;
}

bool NetworkFile::start()
{
    const Waiting waiting(m_attempts.patience());
    return startAt(0) || giveUp();
}

bool NetworkFile::startAt(std::int64_t position)
{
    do {
        drop();
        m_answer = {};
        RequestOptions options;
        if (position > 0)
            options.range = "bytes=" + std::to_string(position) + "-";
        options.condition = m_validator.condition();
        HttpRequest request = m_resource->request(options);
        request.deadline = m_attempts.patience().end();
        m_transfer = std::make_unique<Transfer>(
            std::move(request),
            [this](const char *data, std::size_t size) { return take(data, size); });
        m_client->start(*m_transfer);
        while (!m_transfer->isDone() && !m_transfer->hasHeaders()) {
            if (isStopped())
                return fail(Error::Cancelled);
            m_client->step(kStopPollMilliseconds);
        }
        if (m_transfer->answer().isSuccess()) {
            m_answer = m_transfer->answer();
            return accept(position);
        }
        // A refusal's document explains it, so it is read to its end.
        while (!m_transfer->isDone() && !isStopped())
            m_client->step(kStopPollMilliseconds);
        m_answer = std::move(m_transfer->answer());
        drop();
        if (isStopped())
            return fail(Error::Cancelled);
    } while (m_attempts.again(*m_resource, m_answer) && m_attempts.wait());
    return false;
}

// Looks at the headers of a success that was asked to begin at `position`.
bool NetworkFile::accept(std::int64_t position)
{
    if (!m_isFirst && !m_validator.accepts(m_answer))
        return failWith(m_answer, Error::SourceChanged);
    const std::int64_t length = m_answer.contentLength();
    std::int64_t total = length;
    if (m_answer.status == 206) {
        const ContentRange range = contentRange(m_answer);
        total = range.total;
        if (range.first != position || range.last < position ||
            (total >= 0 && range.last >= total) ||
            (length >= 0 && range.last - position != length - 1))
            return failWith(m_answer, Error::InvalidServerResponse);
    } else {
        m_skip = position; // a server that does not know ranges sends it all
    }
    if (m_size >= 0 && total >= 0 && total != m_size) {
        const bool isSame = !m_isFirst && m_validator.isStrong();
        return failWith(m_answer, isSame ? Error::InvalidServerResponse : Error::SourceChanged);
    }
    if (m_size < 0)
        m_size = total;
    if (m_isFirst)
        m_validator = Validator(m_answer);
    m_isFirst = false;
    return true;
}

// Lets the transfer run until the buffer holds `limit` bytes or nothing more comes; false when the
// thread is stopped.
bool NetworkFile::fill(std::size_t limit)
{
    m_bufferLimit = limit;
    m_transfer->resume(m_attempts.patience().end());
    while (!m_transfer->isDone() && buffered() < limit) {
        if (isStopped())
            return fail(Error::Cancelled);
        m_client->step(kStopPollMilliseconds);
    }
    return true;
}

// After a transfer that ended too early: whether to ask again for what is missing.
bool NetworkFile::recover()
{
    m_answer = std::move(m_transfer->answer());
    if (m_answer.isSuccess())
        m_answer.malformed = true; // fewer bytes than promised
    drop();
    if (std::exchange(m_isRepeating, false) && ++m_repeats == kMostRepeats)
        return failWith(m_answer);
    if (!m_attempts.again(*m_resource, m_answer))
        return false;
    m_mayBeginAgain = m_isHandedOut && !m_validator.exists();
    return m_mayBeginAgain ? failWith(m_answer) : m_attempts.wait();
}

bool NetworkFile::giveUp()
{
    drop();
    m_isLost = m_isHandedOut && !m_validator.exists();
    if (!m_mayBeginAgain)
        m_attempts.reset();
    return false;
}

bool NetworkFile::beginAgain()
{
    if (!m_mayBeginAgain)
        return false;
    const Waiting waiting(m_attempts.patience());
    m_mayBeginAgain = false;
    m_isLost = false;
    m_isHandedOut = false;
    m_isFirst = true;
    m_position = 0;
    m_size = m_givenSize;
    return m_attempts.wait();
}

bool NetworkFile::read(void *buffer, std::uint32_t count, std::uint32_t *read)
{
    *read = 0;
    if (count > kMostAtOnce) {
        setLastError(Error::InvalidParameter);
        setFailureDetails({0, "", "a network source gives 256 MiB at once at most"});
        return false;
    }
    if (m_isLost)
        return fail(Error::ConnectionLost);
    const Waiting waiting(m_attempts.patience());
    const std::int64_t before = m_position;
    std::uint32_t done = 0;
    if (!readAll(static_cast<char *>(buffer), count, &done)) {
        m_position = before;
        return giveUp();
    }
    m_isHandedOut = m_isHandedOut || done > 0;
    *read = done;
    return true;
}

bool NetworkFile::readAll(char *buffer, std::uint32_t count, std::uint32_t *done)
{
    const std::int64_t before = m_position;
    while (*done < count && (m_size < 0 ? m_position < kLastPosition : m_position < m_size)) {
        if (buffered() > 0) {
            const std::int64_t left = m_size < 0 ? kLastPosition : m_size - m_position;
            const std::size_t ready = std::min<std::size_t>(buffered(), count - *done);
            const std::int64_t part = std::min(static_cast<std::int64_t>(ready), left);
            std::memcpy(buffer + *done, m_buffer.data() + m_bufferStart,
                        static_cast<std::size_t>(part));
            m_bufferStart += static_cast<std::size_t>(part);
            m_position += part;
            *done += static_cast<std::uint32_t>(part);
            continue;
        }
        if (!m_transfer && !startAt(m_position)) {
            if (m_answer.status != 416)
                return false;
            // Behind the end of a source that did not tell its size, or that has become shorter.
            return m_size < 0 || failWith(m_answer, Error::SourceChanged);
        }
        if (!fill(std::min<std::size_t>(count - *done, kReadAhead)))
            return false;
        if (buffered() > 0)
            continue; // a loss shows when these bytes are used up
        if (m_size < 0 && m_transfer->answer().result == CURLE_OK) {
            m_size = m_position - m_skip; // the end of a source that did not tell its size
        } else {
            if (!recover())
                return false;
            if (!m_validator.exists()) {
                m_position = before;
                *done = 0;
            }
        }
    }
    return true;
}

bool NetworkFile::size(std::int64_t *size)
{
    if (m_size < 0 && m_isLost)
        return fail(Error::ConnectionLost);
    const Waiting waiting(m_attempts.patience());
    if (m_size < 0 && m_position < kLastPosition && !findSize())
        return giveUp();
    *size = m_size;
    return true;
}

// Finds the size out by reading ahead, if it is not too far.
bool NetworkFile::findSize()
{
    while (true) {
        if (!m_transfer && !startAt(m_position)) {
            m_size = m_answer.status == 416 ? contentRange(m_answer).total : -1;
            return m_answer.status == 416;
        }
        if (m_size >= 0)
            return true;
        if (!fill(kMostBufferedForSize))
            return false;
        if (!m_transfer->isDone())
            return true;
        if (m_transfer->answer().result == CURLE_OK) {
            m_size = m_position - m_skip + static_cast<std::int64_t>(buffered());
            return true;
        }
        if (!recover())
            return false;
    }
}

bool NetworkFile::seek(std::int64_t position)
{
    if (position < 0)
        return fail(Error::InvalidParameter);
    const std::int64_t ahead = position - m_position;
    if (ahead >= 0 && ahead <= static_cast<std::int64_t>(buffered())) {
        m_bufferStart += static_cast<std::size_t>(ahead);
    } else {
        drop();
        m_furthest = position;
        m_counted = position;
        m_isHandedOut = false;
        m_isLost = false;
        m_mayBeginAgain = false;
        m_attempts.reset();
        m_attempts.patience().pause();
    }
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
