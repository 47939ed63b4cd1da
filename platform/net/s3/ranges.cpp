// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/ranges.h"

#include "stoptoken.h"

#include <algorithm>
#include <iterator>

namespace hq {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kTrustRate = 0.1; // by which a range that is joined counts

bool isSame(const S3Listing::Entry &a, const S3Listing::Entry &b)
{
    return a.name == b.name && a.isFolder == b.isFolder;
}

// The first of the names in order that is not before `name`.
S3Ranges::Entries::const_iterator placeOf(const std::string &name, const S3Ranges::Entries &names)
{
    return std::lower_bound(
        names.begin(), names.end(), name,
        [](const S3Listing::Entry &entry, const std::string &text) { return entry.name < text; });
}

} // namespace

S3Ranges::S3Ranges(HttpClient &client, const S3Address &address, std::string prefix)
    : m_client(client), m_prefix(std::move(prefix)), m_takenAt(Clock::now())
{
    m_ranges.push_back({{}, std::make_unique<S3Pages>(client, address, m_prefix)});
}

S3Ranges::Range S3Ranges::rangeBehind(std::string guess) const
{
    auto pages = std::make_unique<S3Pages>(*m_ranges.front().pages, m_prefix, guess);
    return {std::move(guess), std::move(pages)};
}

bool S3Ranges::poll()
{
    for (std::size_t i = 0; i < m_ranges.size(); ++i) {
        if (m_ranges[i].isAsked && m_ranges[i].pages->poll())
            arrive(i);
    }
    dropUseless();
    join();
    withdrawExcess();
    ask();
    return ownNames(0) > 0 || m_ranges.front().pages->isBroken() || isAtEnd();
}

void S3Ranges::wait()
{
    while (!poll()) {
        if (isStopped())
            m_ranges.front().pages->poll(); // breaks off, also where nothing was asked for
        int wait = kStopPollMilliseconds;
        for (const Range &range : m_ranges) {
            if (range.isAsked)
                wait = std::min(wait, range.pages->waitMilliseconds());
        }
        const auto start = Clock::now();
        m_client.step(wait);
        m_waited += Clock::now() - start;
    }
}

bool S3Ranges::isAtEnd() const
{
    const Range &front = m_ranges.front();
    return m_ranges.size() == 1 && front.names.empty() && front.pages->isAtEnd();
}

std::optional<S3Ranges::Entries> S3Ranges::take()
{
    Range &front = m_ranges.front();
    const std::size_t count = ownNames(0);
    if (count == 0 && front.pages->isBroken()) {
        front.pages->take(); // the last error
        return std::nullopt;
    }
    noteWork(count);
    if (count == front.names.size())
        return std::exchange(front.names, {});
    const auto end = front.names.begin() + static_cast<std::ptrdiff_t>(count);
    Entries names(std::make_move_iterator(front.names.begin()), std::make_move_iterator(end));
    front.names.erase(front.names.begin(), end);
    return names;
}

// How many names of a range are its own: those that are not yet the next range's.
std::size_t S3Ranges::ownNames(std::size_t at) const
{
    const Entries &names = m_ranges[at].names;
    if (at + 1 == m_ranges.size())
        return names.size();
    const Range &next = m_ranges[at + 1];
    const auto end = placeOf(next.first.empty() ? next.guess : next.first, names);
    return static_cast<std::size_t>(end - names.begin());
}

void S3Ranges::arrive(std::size_t at)
{
    Range &range = m_ranges[at];
    range.isAsked = false;
    const int failures = range.pages->failures();
    if (range.pages->isBroken()) {
        m_isAlone = true;
        dropFrom(std::max<std::size_t>(at, 1));
        return;
    }
    S3Listing page = *range.pages->take();
    m_pace.came(Pace::Time(range.pages->latencyMicroseconds()), failures > 0);
    if ((!m_isAlone || m_ranges.size() > 1) && !isInOrder(range, page)) {
        m_isAlone = true;
        dropFrom(1);
        if (at > 0)
            return;
    }
    if (at > 0 && page.isTruncated && page.entries.empty()) {
        dropFrom(at); // nobody knows how many more requests it would take
        return;
    }
    keep(range, std::move(page));
    if (range.pages->isAtEnd() && m_ranges.size() > 1) {
        const bool isEmpty = at > 0 && range.first.empty();
        if (isEmpty)
            m_end = range.guess;
        dropFrom(isEmpty ? at : at + 1);
    }
}

// Whether ranges can be made of such pages: they are ordered by bytes, heed "start-after" and go
// on by tokens.
bool S3Ranges::isInOrder(const Range &range, const S3Listing &page) const
{
    if (page.isTruncated && page.nextToken.empty())
        return false;
    const auto isOurs = [this](const S3Listing::Entry &entry) {
        return entry.name.compare(0, m_prefix.size(), m_prefix) == 0;
    };
    return page.entries.empty() ||
           (page.entries.front().name > (range.last.empty() ? range.guess : range.last) &&
            isOurs(page.entries.front()) && isOurs(page.entries.back()));
}

void S3Ranges::keep(Range &range, S3Listing page)
{
    Entries &entries = page.entries;
    if (page.isTruncated)
        m_pageSize = std::max(m_pageSize, entries.size());
    if (entries.empty())
        return;
    if (!m_isAlone && m_pace.limit() > 1)
        learn(range.last, entries);
    if (range.first.empty())
        range.first = entries.front().name;
    range.last = entries.back().name;
    range.pageBefore = std::exchange(range.page, {entries.front().name, entries.size()});
    if (range.names.empty())
        range.names = std::move(entries);
    else
        range.names.insert(range.names.end(), std::make_move_iterator(entries.begin()),
                           std::make_move_iterator(entries.end()));
}

void S3Ranges::dropFrom(std::size_t at)
{
    m_ranges.erase(m_ranges.begin() + static_cast<std::ptrdiff_t>(at), m_ranges.end());
}

// Whether a range has come to where the next one begins.
bool S3Ranges::isCovered(std::size_t at) const
{
    if (at + 1 >= m_ranges.size())
        return false;
    const Range &next = m_ranges[at + 1];
    const std::string &last = m_ranges[at].last;
    return next.first.empty() ? last >= next.guess : last >= next.first;
}

// Drops ranges that hold no name between the one before and the one behind.
void S3Ranges::dropUseless()
{
    for (std::size_t i = 0; i + 1 < m_ranges.size();) {
        const Range &range = m_ranges[i];
        const Range &next = m_ranges[i + 1];
        const bool isPassed = i + 2 < m_ranges.size() && range.last > m_ranges[i + 2].guess;
        const bool isInside =
            isCovered(i) && !next.isAsked && !next.pages->isAtEnd() && next.last <= range.last;
        const bool isTwin = range.first > next.guess && next.names.size() <= range.names.size();
        if (!isPassed && !isInside && !isTwin) {
            ++i;
            continue;
        }
        noteWaste(m_pageSize);
        m_ranges.erase(m_ranges.begin() + static_cast<std::ptrdiff_t>(i) + 1);
    }
}

// Goes over to the next range where the first one has met its first name, and all behind that is
// the same in both.
void S3Ranges::join()
{
    while (isCovered(0)) {
        const Entries &names = m_ranges[0].names;
        const Range &next = m_ranges[1];
        if (next.first.empty() || ownNames(0) > 0)
            return;          // it has not come, or names before it are still to be taken
        if (names.empty()) { // not met in a page of the first one's own
            dropNext();
            continue;
        }
        const auto [mine, its] =
            std::mismatch(names.begin(), names.end(), next.names.begin(), next.names.end(), isSame);
        if (mine == names.end() && (its != next.names.end() || next.pages->isAtEnd())) {
            m_trust += kTrustRate * (1 - m_trust);
            noteWaste(names.size());
            m_ranges.pop_front();
            continue;
        }
        if (mine == names.end() || (its == next.names.end() && !next.pages->isAtEnd()))
            return; // more of it has to come first
        dropNext();
    }
}

// The next range does not go on where this one leads to.
void S3Ranges::dropNext()
{
    m_trust = 0;
    noteWaste(m_ranges[1].names.size());
    m_ranges.erase(m_ranges.begin() + 1);
}

} // namespace hq
