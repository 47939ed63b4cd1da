// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/lasterror.h"
#include "net/s3/paginator.h"
#include "net/s3/resource.h"

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
            int maxKeys = kMaxKeys);
    // Those of the level that `first` is of, behind the name `after`. What is known of the bucket,
    // such as the region that its entry file names, is not looked up again.
    S3Pages(const S3Pages &first, const std::string &prefix, const std::string &after);

    // Sends what is due and takes in what has come, without waiting; true when there is something
    // to take. Not at the end.
    bool poll();
    // How long poll() has nothing to send, unless something comes.
    int waitMilliseconds() const;
    // Steps the client until poll() is true.
    void wait();
    // The page that poll() found; the next poll() asks for the one behind it. None when the listing
    // broke off; this call sets the last error and its details then.
    std::optional<S3Listing> take();
    bool isBroken() const { return m_error != 0; }
    // Of the page that came last: the server's time for it, and the attempts that failed before.
    int latencyMicroseconds() const { return m_response.latencyMicroseconds; }
    int failures() const { return m_failures; }
    // How much has come of the page that is on its way.
    std::size_t bytesComing() const { return m_transfer ? m_transfer->response().body.size() : 0; }
    // Gives up the page that is on its way; poll() asks for it again.
    void withdraw() { m_transfer.reset(); }
    // Whether the last page has been taken.
    bool isAtEnd() const { return !m_page && m_paginator.state() == S3Paginator::State::End; }

private:
    void advance();
    void send();
    void settle();
    void breakOff(Error error, const char *advice = "");
    void keepFailure();

    HttpClient &m_client;
    const bool m_isAccount;
    S3Paginator m_paginator;
    S3Resource m_resource;
    RetryState m_retryState; // of the page that comes next
    RetryState::Clock::time_point m_polled = RetryState::Clock::now();
    int m_failures = 0;
    std::unique_ptr<HttpTransfer> m_transfer;
    std::optional<S3Listing> m_page;
    HttpResponse m_response;   // the last one
    std::uint32_t m_error = 0; // why it broke off
    FailureDetails m_details;
};

} // namespace hq
