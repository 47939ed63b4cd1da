// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// When and where a listing's ranges are begun. All of this is about speed; what the listing gives
// is decided in ranges.cpp alone.
#include "net/s3/ranges.h"

#include <algorithm>
#include <cmath>

namespace hq {

namespace {

using Clock = std::chrono::steady_clock;

// Requests that may turn out useless: some in any case, and a share of the useful ones.
constexpr double kFreeRequests = 14;
constexpr double kUselessShare = 0.28;
// Ranges side by side that have brought nothing yet depend on one guess. Another one is begun among
// them only while so many useless requests are allowed for each.
constexpr double kSparePerBet = 2;
// Pages of a range, and the part of one by which it is to be shorter, so that it most likely meets
// the next range in so many pages where guesses are good.
constexpr double kMaxLength = 6;
constexpr double kMargin = 0.08;
constexpr double kWasteRate = 0.3; // by which the latest one counts
constexpr std::size_t kMaxBytesAhead = 5 * 1024 * 1024;
constexpr std::size_t kMaxBytesComing = 8 * 1024 * 1024;
constexpr std::size_t kBytesPerBlock = 16;   // that the heap adds
constexpr std::size_t kPagesPerResponse = 2; // a page that is coming in takes as much memory

} // namespace

void S3Ranges::ask()
{
    Range &front = m_ranges.front();
    if (!front.isAsked && front.names.empty() && !front.pages->isAtEnd() &&
        !front.pages->isBroken() && !isCovered(0))
        askFor(front);
    if (m_isAlone || m_pace.limit() == 1)
        return;
    for (std::size_t i = 0; i < m_ranges.size() && mayAsk(); ++i) {
        if (m_ranges[i].pages->isAtEnd() || m_ranges[i].pages->isBroken())
            return;
        if (isCovered(i))
            continue;
        if (i > 0 && m_trust < 1 && spare() < 1)
            return;
        if (!m_ranges[i].isAsked) {
            askFor(m_ranges[i]);
            if (!mayAsk())
                return;
        }
        if (spare() < std::max(1.0, kSparePerBet * static_cast<double>(unprovenAround(i))))
            continue;
        std::string guess = guessBehind(i);
        if (!guess.empty()) {
            const auto place = m_ranges.begin() + static_cast<std::ptrdiff_t>(i) + 1;
            askFor(*m_ranges.insert(place, rangeBehind(std::move(guess))));
        }
    }
}

void S3Ranges::askFor(Range &range)
{
    range.isAsked = true;
    ++m_requests;
    range.pages->poll(); // sends it
}

// Pages can turn out larger than expected when they were asked for, where long names follow short
// ones. All but the next ones are given up then, and fewer are asked for from then on.
void S3Ranges::withdrawExcess()
{
    std::size_t bytes = 0;
    std::size_t count = 0;
    for (Range &range : m_ranges) {
        if (!range.isAsked)
            continue;
        bytes += range.pages->bytesComing();
        ++count;
        if (bytes <= kMaxBytesComing || count == 1)
            continue;
        m_pageBytes = std::max(m_pageBytes, bytes / count);
        bytes -= range.pages->bytesComing();
        range.pages->withdraw();
        range.isAsked = false;
    }
}

bool S3Ranges::mayAsk() const
{
    std::size_t asked = 0;
    std::size_t names = 0;
    for (const Range &range : m_ranges) {
        asked += range.isAsked ? 1U : 0U;
        names += range.names.size();
    }
    const std::size_t pages = names / m_pageSize + kPagesPerResponse * asked;
    return asked < m_pace.limit() && pages * m_pageBytes < kMaxBytesAhead;
}

// How many more requests may turn out useless.
double S3Ranges::spare() const
{
    std::size_t ahead = 0;
    for (std::size_t i = 1; i < m_ranges.size(); ++i)
        ahead += ownNames(i);
    const auto pageSize = static_cast<double>(m_pageSize);
    const double sure = static_cast<double>(m_taken + ownNames(0)) / pageSize;
    const double likely = static_cast<double>(ahead) / pageSize;
    return kFreeRequests + kUselessShare * (sure + likely) - (m_requests - sure - m_trust * likely);
}

// How many ranges of which no name has come stand side by side where a range behind `at` would be.
std::size_t S3Ranges::unprovenAround(std::size_t at) const
{
    const auto isUnproven = [](const Range &range) { return range.first.empty(); };
    const auto place = m_ranges.begin() + static_cast<std::ptrdiff_t>(at) + 1;
    const auto end = std::find_if_not(place, m_ranges.end(), isUnproven);
    const auto start =
        std::find_if_not(std::make_reverse_iterator(place), m_ranges.rend(), isUnproven);
    return static_cast<std::size_t>(end - start.base());
}

void S3Ranges::learn(const std::string &last, const Entries &entries)
{
    std::string_view before = inLevel(last);
    std::size_t bytes = entries.size() * sizeof entries[0];
    for (const S3Listing::Entry &entry : entries) {
        const std::string_view name = inLevel(entry.name);
        m_guesser.learn(before, name);
        before = name;
        bytes += entry.name.capacity() + kBytesPerBlock;
    }
    m_guesser.conclude();
    m_pageBytes = std::max(m_pageBytes, bytes);
}

// A name behind the last one that is known of a range and before the next range; empty where there
// is no room for a range between them.
std::string S3Ranges::guessBehind(std::size_t at) const
{
    const Range &range = m_ranges[at];
    const std::string_view from = inLevel(range.last.empty() ? range.guess : range.last);
    const std::string &limit = at + 1 < m_ranges.size() ? m_ranges[at + 1].guess : m_end;
    // How close names stand is known of the last two pages before.
    while (at > 0 && m_ranges[at].page.count == 0)
        --at;
    const Range &known = m_ranges[at];
    if (known.page.count == 0)
        return {};
    const Span &start = known.pageBefore.count > 0 ? known.pageBefore : known.page;
    const NameGuesser::Stretch stretch{
        inLevel(start.first), inLevel(known.last),
        static_cast<double>(known.pageBefore.count + known.page.count)};

    // Ranges are so long that what they waste is the share that may be wasted.
    double pages = std::round(std::clamp(m_waste / kUselessShare, 1.0, kMaxLength)) - kMargin;
    const auto pageSize = static_cast<double>(m_pageSize);
    if (!limit.empty()) {
        const double room = m_guesser.distance(stretch, from, inLevel(limit)) / pageSize;
        const double parts = std::round(room / pages);
        if (parts < 2)
            return {};
        pages = std::min(pages, room / parts);
    }
    std::string name = m_guesser.guess(stretch, from, pages * pageSize);
    if (!name.empty())
        name.insert(0, m_prefix);
    return limit.empty() || name < limit ? name : std::string();
}

// Some names of a page were asked for in vain to begin a range.
void S3Ranges::noteWaste(std::size_t names)
{
    const double part = static_cast<double>(names) / static_cast<double>(m_pageSize);
    m_waste += kWasteRate * (part - m_waste);
}

// The caller takes so many names. The time since it last took some, without waiting, is what its
// work on those took.
void S3Ranges::noteWork(std::size_t names)
{
    const auto now = Clock::now();
    if (m_takenLast > 0)
        m_pace.worked((now - m_takenAt - m_waited) * static_cast<double>(m_pageSize) /
                      static_cast<double>(m_takenLast));
    m_takenAt = now;
    m_waited = {};
    m_takenLast = names;
    m_taken += names;
}

// What stands behind the prefix that all names of the level have.
std::string_view S3Ranges::inLevel(const std::string &name) const
{
    return std::string_view(name).substr(std::min(name.size(), m_prefix.size()));
}

} // namespace hq
