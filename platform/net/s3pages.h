// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/lasterror.h"
#include "net/s3cursor.h"
#include "net/s3resource.h"

#include <memory>
#include <optional>
#include <string>

namespace hq {

// The pages of one listing, one after the other, each with its attempts. Any number of listings
// can be under way on one client: whoever steps it polls them. Must not outlive the client.
class S3Pages
{
public:
    // The level below `prefix` of a bucket, or the buckets of an account.
    S3Pages(HttpClient &client, const S3Address &address, const std::string &prefix,
            int mostKeys = 1000);

    // Sends what is due and takes in what has come, without waiting; true when there is something
    // to take. Not at the end.
    bool poll();
    // How long poll() has nothing to send, unless something comes.
    int waitMilliseconds() const;
    // Steps the client until poll() is true.
    void wait();
    // The page that poll() found; the one behind it is asked for by the next poll(). None when the
    // listing broke off, which the last error and its details explain.
    std::optional<S3Listing> take();
    // Whether the last page has been taken.
    bool isAtEnd() const { return !m_page && m_cursor.state() == S3Cursor::State::End; }

private:
    void advance();
    void send();
    void settle();
    void breakOff(Error error, const char *advice = "");
    void keepFailure();

    HttpClient &m_client;
    const bool m_isAccount;
    S3Cursor m_cursor;
    S3Resource m_resource;
    Attempts m_attempts; // of the page that comes next
    Attempts::Clock::time_point m_polled = Attempts::Clock::now();
    std::unique_ptr<Transfer> m_transfer;
    std::optional<S3Listing> m_page;
    HttpAnswer m_answer;       // the last one
    std::uint32_t m_error = 0; // why it broke off
    FailureDetails m_details;
};

} // namespace hq
