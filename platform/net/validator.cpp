// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/validator.h"

#include <ctime>

namespace hq {

namespace {

constexpr std::time_t kSettledSeconds = 60;

bool isWeak(const std::string &etag)
{
    return etag.compare(0, 2, "W/") == 0;
}

} // namespace

Validator::Validator(const HttpResponse &first) : m_etag(first.header("etag"))
{
    if (isStrong())
        return;
    const std::string lastModified = first.header("last-modified");
    const std::time_t changed = curl_getdate(lastModified.c_str(), nullptr);
    const std::time_t now = curl_getdate(first.header("date").c_str(), nullptr);
    if (changed != -1 && now != -1 && now - changed >= kSettledSeconds)
        m_lastModified = lastModified;
}

bool Validator::isStrong() const
{
    return !m_etag.empty() && !isWeak(m_etag);
}

std::string Validator::condition() const
{
    if (isStrong())
        return "If-Match: " + m_etag;
    return m_lastModified.empty() ? std::string() : "If-Unmodified-Since: " + m_lastModified;
}

bool Validator::accepts(const HttpResponse &response) const
{
    const std::string etag = response.header("etag");
    // A server that heeded If-Match need not say the tag again.
    const bool isSameTag = etag == m_etag || (etag.empty() && isStrong());
    return (m_etag.empty() || isSameTag) &&
           (m_lastModified.empty() || response.header("last-modified") == m_lastModified);
}

} // namespace hq
