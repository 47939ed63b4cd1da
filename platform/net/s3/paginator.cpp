// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/paginator.h"

#include <algorithm>

namespace hq {

namespace {
// U+10FFFF: behind it comes no other name with the same beginning.
constexpr const char *kLastCharacter = "\xf4\x8f\xbf\xbf";
} // namespace

bool RepeatedTokenDetector::isRepeated(const std::string &step)
{
    if (step == m_remembered)
        return true;
    if (++m_steps == m_limit) {
        m_remembered = step;
        m_steps = 0;
        m_limit *= 2;
    }
    return false;
}

S3Paginator::S3Paginator(std::string prefix, int maxKeys, std::string after)
    : m_prefix(std::move(prefix)), m_maxKeys(std::to_string(maxKeys)), m_after(std::move(after))
{
}

NameValues S3Paginator::query() const
{
    NameValues query{{"delimiter", "/"}, {"encoding-type", "url"}, {"max-keys", m_maxKeys}};
    if (m_way != Way::Marker)
        query.emplace_back("list-type", "2");
    if (!m_prefix.empty())
        query.emplace_back("prefix", m_prefix);
    static constexpr const char *kNames[] = {"continuation-token", "start-after", "marker"};
    if (!m_position.empty())
        query.emplace_back(kNames[static_cast<int>(m_way)], m_position);
    else if (!m_after.empty())
        query.emplace_back("start-after", m_after);
    return query;
}

// A page that was asked for by token is trusted. One that was asked for by name can begin the
// listing anew, or repeat names of the page before.
void S3Paginator::dropKnown(S3Listing &page)
{
    std::vector<S3Listing::Entry> &entries = page.entries;
    if (m_first.empty() && !entries.empty())
        m_first = entries.front().name;
    const bool isByName = m_way != Way::Token;
    std::vector<std::string> names;
    if (isByName || page.nextToken.empty()) {
        for (const S3Listing::Entry &entry : entries)
            names.push_back(entry.name);
    }
    const bool isAnew =
        isByName && m_last != m_first && std::binary_search(names.begin(), names.end(), m_first);
    const auto isKnown = [&](const S3Listing::Entry &entry) {
        return isAnew || entry.name == m_last ||
               (isByName && std::binary_search(m_names.begin(), m_names.end(), entry.name));
    };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isKnown), entries.end());
    m_names = std::move(names);
}

S3Paginator::State S3Paginator::take(S3Listing &page)
{
    const std::vector<S3Listing::Entry> &entries = page.entries;
    const bool isFolderAgain = entries.size() == 1 && entries[0].isFolder &&
                               entries[0].name == m_last && m_position == m_last;
    const bool isEmpty = entries.empty();
    dropKnown(page);
    if (!page.isTruncated)
        return m_state = State::End;

    const bool isNew = isEmpty ? !page.last.empty() && page.last != m_last : !entries.empty();
    if (isNew)
        m_last = page.last;
    if (m_way != Way::Marker && !page.nextToken.empty())
        return goOn(Way::Token, page.nextToken);
    if (m_last.empty())
        return m_state = State::Stuck;
    if (isNew)
        return goOn(page.isVersion1 ? Way::Marker : std::max(m_way, Way::StartAfter), m_last);
    if (m_way == Way::Token)
        return goOn(Way::StartAfter, m_last);
    if (isFolderAgain)
        return goOn(m_way, m_last + kLastCharacter);
    if (m_way == Way::StartAfter)
        return goOn(Way::Marker, m_last);
    return m_state = State::Stuck;
}

S3Paginator::State S3Paginator::goOn(Way way, const std::string &position)
{
    const bool isSame = way == m_way && position == m_position;
    m_way = way;
    m_position = position;
    const bool isCircle = m_detector.isRepeated(std::to_string(static_cast<int>(way)) + position);
    return m_state = isSame || isCircle ? State::Stuck : State::More;
}

} // namespace hq
