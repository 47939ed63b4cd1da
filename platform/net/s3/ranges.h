// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/s3/nameguesser.h"
#include "net/s3/pace.h"
#include "net/s3/pages.h"

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hq {

// The names of one level in order, many pages of which are asked for at a time: docs/listing.md.
// Must not outlive the client.
class S3Ranges
{
public:
    using Entries = std::vector<S3Listing::Entry>;

    S3Ranges(HttpClient &client, const S3Address &address, std::string prefix);

    // Sends what is due and takes in what has come, without waiting; true when there is something
    // to take.
    bool poll();
    // Steps the client until poll() is true.
    void wait();
    // The names that come next. None when the listing broke off behind those taken before; this
    // call sets the last error and its details then.
    std::optional<Entries> take();
    // Whether the last name has been taken.
    bool isAtEnd() const;

private:
    // A page: its first name and how many names it has.
    struct Span
    {
        std::string first;
        std::size_t count = 0;
    };
    struct Range
    {
        std::string guess; // it begins behind; empty for the first one
        std::unique_ptr<S3Pages> pages;
        bool isAsked = false;
        Entries names{};     // that came and were not taken
        std::string first{}; // of all names that came; empty while none did
        std::string last{};
        Span page{}; // the last one
        Span pageBefore{};
    };

    Range rangeBehind(std::string guess) const;
    void arrive(std::size_t at);
    bool isInOrder(const Range &range, const S3Listing &page) const;
    void keep(Range &range, S3Listing page);
    void dropFrom(std::size_t at);
    void dropUseless();
    void join();
    void dropNext();
    std::size_t ownNames(std::size_t at) const;
    bool isCovered(std::size_t at) const;

    void ask();
    void askFor(Range &range);
    void withdrawExcess();
    bool mayAsk() const;
    double spare() const;
    std::size_t unprovenAround(std::size_t at) const;
    void learn(const std::string &last, const Entries &entries);
    std::string guessBehind(std::size_t at) const;
    void noteWaste(std::size_t names);
    void noteWork(std::size_t names);
    std::string_view inLevel(const std::string &name) const;

    HttpClient &m_client;
    const std::string m_prefix;
    std::deque<Range> m_ranges; // in order; the first one is being reported
    bool m_isAlone = false;     // for the rest of the listing
    std::size_t m_pageSize = 1; // names

    NameGuesser m_guesser;
    Pace m_pace;
    std::string m_end;  // nothing is behind; empty while unknown
    double m_trust = 1; // the share of what ranges ahead hold that is likely to be used
    double m_waste = 1; // of a page, by each range that was begun of late
    std::size_t m_pageBytes = 0;
    int m_requests = 0;
    std::size_t m_taken = 0;     // names
    std::size_t m_takenLast = 0; // by the last take()
    std::chrono::steady_clock::time_point m_takenAt;
    std::chrono::steady_clock::duration m_waited{}; // since then
};

} // namespace hq
