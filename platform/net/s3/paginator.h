// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/query.h"
#include "net/s3/documents.h"

#include <string>
#include <vector>

namespace hq {

// Detects that a chain of tokens repeats itself. Remembers only one of them, so it can be some
// steps late.
class RepeatedTokenDetector
{
public:
    bool isRepeated(const std::string &step);

private:
    std::string m_remembered;
    unsigned long m_steps = 0;
    unsigned long m_limit = 1;
};

constexpr int kMaxKeys = 1000; // of a page; servers give no more

// Where a listing stands: what to ask for next, judged by the pages that came.
//
// A page that goes on names a token for the next one. Where it names none the listing goes on
// behind its last name, by "start-after"; a server that does not heed that, or shows that it knows
// version 1 of the call alone, is asked by "marker" in the form of that version. Such a server may
// report again what it was to go on behind. Nothing here depends on the order that a server keeps.
class S3Paginator
{
public:
    enum class State { More, End, Stuck };

    // At the start of the level below `prefix`, or behind the name `after` of it, with at most
    // `maxKeys` names a page.
    explicit S3Paginator(std::string prefix, int maxKeys = kMaxKeys, std::string after = {});

    // Of the request for the next page.
    NameValues query() const;
    // Takes the page that was asked for and drops from it the names that were reported before.
    // Stuck when the server leads on in no way.
    State take(S3Listing &page);
    State state() const { return m_state; }

private:
    enum class Way { Token, StartAfter, Marker };

    void dropKnown(S3Listing &page);
    State goOn(Way way, const std::string &position);

    std::string m_prefix;
    std::string m_maxKeys;
    std::string m_after; // of the first page
    State m_state = State::More;
    Way m_way = Way::Token;
    std::string m_position;           // of the next page: a token, or the name it is behind
    std::string m_first;              // the first name of all
    std::string m_last;               // the name that the last page goes on behind
    std::vector<std::string> m_names; // of the page before, sorted
    RepeatedTokenDetector m_detector;
};

} // namespace hq
