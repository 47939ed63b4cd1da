// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/networkfile.h"

#include "net/failure.h"

#include <QRegularExpression>
#include <QScopeGuard>

#include <algorithm>
#include <limits>
#include <utility>

namespace hq {

namespace {

constexpr std::int64_t kReadAhead = 1024 * 1024;
constexpr std::int64_t kMaxBufferedForSize = 64 * 1024 * 1024;
constexpr std::uint32_t kMaxAtOnce = 256 * 1024 * 1024;
constexpr std::int64_t kWorthwhile = 64 * 1024; // a server that gives less each time wears us out
constexpr int kMaxRepeats = 6;                  // in a row, of a source that never comes further
// Positions behind it are past the end of everything; up to it sums cannot overflow.
constexpr std::int64_t kLastPosition = std::numeric_limits<std::int64_t>::max() - (1LL << 40);

// The time of a call counts, the time between two calls does not.
auto countTime(Patience &patience)
{
    patience.resume();
    return qScopeGuard([&patience] { patience.pause(); });
}

} // namespace

NetworkFile::NetworkFile(std::unique_ptr<Resource> resource, std::int64_t size, Validator validator,
                         const Patience &patience)
    : m_resource(std::move(resource))
    , m_givenSize(size)
    , m_size(size)
    , m_validator(std::move(validator))
    , m_isFirst(!m_validator.exists())
    , m_retryState(patience)
{
    m_retryState.patience().pause();
}

NetworkFile::~NetworkFile()
{
    if (m_body && !m_body->isDone())
        m_body->abandon();
}

// Some bytes of the body have come.
void NetworkFile::noteArrival(std::int64_t buffered)
{
    m_retryState.patience().renew();
    // What came before a cut and comes again is no progress.
    const std::int64_t end = m_position + buffered;
    m_isRepeating = end <= m_furthest;
    if (m_isRepeating)
        return;
    m_furthest = end;
    m_repeats = 0;
    if (end - m_counted >= kWorthwhile) {
        m_counted = end;
        m_retryState.reset();
    }
}

bool NetworkFile::start()
{
    const auto counting = countTime(m_retryState.patience());
    return startAt(0) || giveUp();
}

bool NetworkFile::startAt(std::int64_t position)
{
    do {
        m_response = {};
        RequestOptions options;
        if (position > 0)
            options.range = "bytes=" + std::to_string(position) + "-";
        options.condition = m_validator.condition();
        HttpRequest request = m_resource->request(options);
        request.deadline = m_retryState.patience().end();
        m_body.emplace(*m_client, std::move(request),
                       [this](std::int64_t buffered) { noteArrival(buffered); });
        if (!m_body->awaitHead())
            return false;
        m_response = m_body->response();
        if (m_response.isSuccess())
            return accept(position);
        m_body.reset();
    } while (m_retryState.shouldRetry(*m_resource, m_response) && m_retryState.wait());
    return false;
}

// Looks at the headers of a success that was asked to begin at `position`.
bool NetworkFile::accept(std::int64_t position)
{
    if (!m_isFirst && !m_validator.accepts(m_response))
        return failWith(m_response, Error::SourceChanged);
    const std::int64_t length = m_response.contentLength();
    std::int64_t total = length;
    if (m_response.status == 206) {
        const ContentRange range = contentRange(m_response);
        total = range.total;
        if (range.first != position || range.last < position ||
            (total >= 0 && range.last >= total) ||
            (length >= 0 && range.last - position != length - 1))
            return failWith(m_response, Error::InvalidServerResponse);
    } else {
        m_body->skip(position); // a server that does not know ranges sends it all
    }
    if (m_size >= 0 && total >= 0 && total != m_size) {
        const bool isSame = !m_isFirst && m_validator.isStrong();
        return failWith(m_response, isSame ? Error::InvalidServerResponse : Error::SourceChanged);
    }
    if (m_size < 0)
        m_size = total;
    if (m_isFirst)
        m_validator = Validator(m_response);
    m_isFirst = false;
    return true;
}

// Nothing is read from there on.
std::int64_t NetworkFile::end() const
{
    return m_size < 0 ? kLastPosition : m_size;
}

// Whether a body that has ended came whole, which shows the size of a source that did not tell it.
bool NetworkFile::showsSize()
{
    if (m_size >= 0 || m_body->response().result != CURLE_OK)
        return false;
    m_size = m_position + m_body->buffered() - m_body->toSkip();
    return true;
}

// After a body that ended too early: whether to ask again for what is missing.
bool NetworkFile::recover()
{
    m_response = std::move(m_body->response());
    if (m_response.isSuccess())
        m_response.isMalformed = true; // fewer bytes than promised
    m_body.reset();
    if (std::exchange(m_isRepeating, false) && ++m_repeats == kMaxRepeats)
        return failWith(m_response);
    if (!m_retryState.shouldRetry(*m_resource, m_response))
        return false;
    m_mayBeginAgain = m_isHandedOut && !m_validator.exists();
    return m_mayBeginAgain ? failWith(m_response) : m_retryState.wait();
}

bool NetworkFile::giveUp()
{
    m_body.reset();
    m_isLost = m_isHandedOut && !m_validator.exists();
    if (!m_mayBeginAgain)
        m_retryState.reset();
    return false;
}

bool NetworkFile::beginAgain()
{
    if (!m_mayBeginAgain)
        return false;
    const auto counting = countTime(m_retryState.patience());
    m_mayBeginAgain = false;
    m_isLost = false;
    m_isHandedOut = false;
    m_isFirst = true;
    m_position = 0;
    m_size = m_givenSize;
    return m_retryState.wait();
}

bool NetworkFile::read(void *buffer, std::uint32_t count, std::uint32_t *read)
{
    *read = 0;
    if (count > kMaxAtOnce) {
        setLastError(Error::InvalidParameter);
        setFailureDetails({0, "", "a network source gives 256 MiB at once at most"});
        return false;
    }
    if (m_isLost)
        return fail(Error::ConnectionLost);
    const auto counting = countTime(m_retryState.patience());
    const std::int64_t before = m_position;
    if (!readAll(static_cast<char *>(buffer), count)) {
        m_position = before;
        return giveUp();
    }
    *read = static_cast<std::uint32_t>(m_position - before);
    m_isHandedOut = m_isHandedOut || *read > 0;
    return true;
}

bool NetworkFile::readAll(char *buffer, std::int64_t count)
{
    const std::int64_t start = m_position;
    std::int64_t left = count;
    while (left > 0 && m_position < end()) {
        if (buffered() > 0) {
            const std::int64_t most = std::min(left, end() - m_position);
            const std::int64_t taken = m_body->take(buffer + (count - left), most);
            m_position += taken;
            left -= taken;
            continue;
        }
        if (!m_body && !startAt(m_position)) {
            if (m_response.status != 416)
                return false;
            // Behind the end of a source that did not tell its size, or that has become shorter.
            return m_size < 0 || failWith(m_response, Error::SourceChanged);
        }
        if (!m_body->fill(std::min(left, kReadAhead), m_retryState.patience().end()))
            return false;
        // A loss shows when the bytes that came before it are used up.
        if (buffered() > 0 || showsSize())
            continue;
        if (!recover())
            return false;
        if (!m_validator.exists()) {
            m_position = start;
            left = count;
        }
    }
    return true;
}

bool NetworkFile::size(std::int64_t *size)
{
    if (m_size < 0 && m_isLost)
        return fail(Error::ConnectionLost);
    const auto counting = countTime(m_retryState.patience());
    if (m_size < 0 && m_position < kLastPosition && !findSize())
        return giveUp();
    *size = m_size;
    return true;
}

// Finds the size out by reading ahead, if it is not too far.
bool NetworkFile::findSize()
{
    while (true) {
        if (!m_body && !startAt(m_position)) {
            m_size = m_response.status == 416 ? contentRange(m_response).total : -1;
            return m_response.status == 416;
        }
        if (m_size >= 0)
            return true;
        if (!m_body->fill(kMaxBufferedForSize, m_retryState.patience().end()))
            return false;
        if (!m_body->isDone() || showsSize())
            return true;
        if (!recover())
            return false;
    }
}

bool NetworkFile::seek(std::int64_t position)
{
    if (position < 0)
        return fail(Error::InvalidParameter);
    const std::int64_t ahead = position - m_position;
    if (ahead >= 0 && ahead <= buffered()) {
        if (m_body)
            m_body->take(nullptr, ahead);
    } else {
        m_body.reset();
        m_furthest = position;
        m_counted = position;
        m_isHandedOut = false;
        m_isLost = false;
        m_mayBeginAgain = false;
        m_retryState.reset();
        m_retryState.patience().pause();
    }
    m_position = position;
    return true;
}

bool NetworkFile::hasNextPage() const
{
    if (!m_response.header("x-paging-nextkey").empty())
        return true;
    // <address>; rel="next", <address>; rel="last"
    const QRegularExpression next("rel=[^;,]*next", QRegularExpression::CaseInsensitiveOption);
    return QString::fromStdString(m_response.header("link")).contains(next);
}

} // namespace hq
