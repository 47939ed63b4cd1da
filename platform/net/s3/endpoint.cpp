// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/endpoint.h"

#include "base/text.h"
#include "s3service.h"

#include <algorithm>

namespace hq {

namespace {

constexpr std::string_view kServiceHost = kS3ServiceHost;
constexpr std::string_view kServiceDomain = kServiceHost.substr(kServiceHost.find('.'));

// In lower case.
struct Site
{
    std::string scheme; // empty when it names none
    std::string name;
    std::string port; // with the ":" in front; empty when it names none

    explicit Site(const std::string &text) : name(lowerCase(text))
    {
        if (const auto end = name.find("://"); end != std::string::npos) {
            scheme = name.substr(0, end);
            name.erase(0, end + 3);
        }
        const auto bracket = name.find(']'); // of an IPv6 address
        const auto colon = name.find(':', bracket == std::string::npos ? 0 : bracket);
        if (colon != std::string::npos) {
            port = name.substr(colon);
            name.resize(colon);
        }
    }
    // Behind a dot, so that nobody else's domain ends like it.
    bool isProviders() const
    {
        return name.size() >= kServiceDomain.size() &&
               name.compare(name.size() - kServiceDomain.size(), std::string::npos,
                            kServiceDomain) == 0;
    }
};

} // namespace

bool isHostLabel(std::string_view text)
{
    const auto isLabelCharacter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
    };
    return !text.empty() && text.size() <= 63 && text.front() != '-' && text.back() != '-' &&
           std::all_of(text.begin(), text.end(), isLabelCharacter);
}

std::string regionOfHost(const std::string &host)
{
    const Site site(host);
    if (!site.isProviders())
        return {};
    const std::string_view front =
        std::string_view(site.name).substr(0, site.name.size() - kServiceDomain.size());
    // At the start or behind a bucket; the region is the last label.
    for (const std::string_view service : {"s3-", "s3.", "s3.dualstack."}) {
        const auto at = front.rfind(service);
        if (at == std::string_view::npos || (at > 0 && front[at - 1] != '.'))
            continue;
        const std::string_view region = front.substr(at + service.size());
        if (isHostLabel(region) && region.find('-') == 2)
            return std::string(region);
    }
    return {};
}

S3Endpoint s3Endpoint(const std::string &site, const std::string &bucket, const std::string &region)
{
    const Site given(site);
    S3Endpoint endpoint;
    endpoint.scheme = given.scheme;
    if (endpoint.scheme.empty())
        endpoint.scheme = isLoopback(given.name) ? "http" : "https";
    endpoint.host = given.name;
    if (given.port != (endpoint.scheme == "https" ? ":443" : ":80"))
        endpoint.host += given.port;
    if (endpoint.host == kServiceHost && region != kDefaultRegion)
        endpoint.host = "s3." + region + std::string(kServiceDomain);
    endpoint.bucketInHost = given.isProviders() && bucket.size() >= 3 && isHostLabel(bucket);
    if (endpoint.bucketInHost)
        endpoint.host = bucket + "." + endpoint.host;
    return endpoint;
}

} // namespace hq
