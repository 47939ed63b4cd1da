// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/resource.h"

#include "base/configuration.h"
#include "base/text.h"
#include "entryfile.h"
#include "net/s3/documents.h"
#include "s3entry.h"
#include "s3region.h"
#include "s3service.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>

namespace hq {

namespace {

constexpr const char *kDefaultRegion = "us-east-1";
constexpr const char *kUnsignedPayload = "UNSIGNED-PAYLOAD";
constexpr std::int64_t kToleratedSkewSeconds =
    240; // servers refuse from five or fifteen minutes on

// What the servers' answers taught this process.
class Lessons
{
public:
    static Lessons &shared()
    {
        // Never destroyed: threads may still be at work when the process ends.
        static auto *const lessons = new Lessons;
        return *lessons;
    }

    std::string region(const S3Address &address)
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_regions.find({address.site, address.bucket});
        return found == m_regions.end() ? std::string() : found->second;
    }
    void setRegion(const S3Address &address, const std::string &region)
    {
        const std::lock_guard lock(m_mutex);
        m_regions[{address.site, address.bucket}] = region;
    }
    std::int64_t clockOffset(const std::string &site)
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_clockOffsets.find(site);
        return found == m_clockOffsets.end() ? 0 : found->second;
    }
    void setClockOffset(const std::string &site, std::int64_t seconds)
    {
        const std::lock_guard lock(m_mutex);
        m_clockOffsets[site] = seconds;
    }

private:
    std::mutex m_mutex;
    std::map<std::pair<std::string, std::string>, std::string> m_regions; // by site and bucket
    std::map<std::string, std::int64_t> m_clockOffsets;                   // seconds, by site
};

// The provider's service domain with the dot in front of it.
std::string providerDomain()
{
    const std::string host = kS3ServiceHost;
    return host.substr(host.find('.'));
}

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool isLabel(std::string_view text)
{
    const auto isLabelCharacter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
    };
    return !text.empty() && text.size() <= 63 && text.front() != '-' && text.back() != '-' &&
           std::all_of(text.begin(), text.end(), isLabelCharacter);
}

// The region that the bucket's entry file names.
std::string regionOfEntryFile(const std::string &bucket)
{
    if (bucket.empty())
        return {};
    const QString path =
        s3EntryPath(QString::fromStdString(configDirectory()), QString::fromStdString(bucket));
    const QByteArray text = readEntryFile(path.toUtf8()).value_or(QByteArray());
    const std::string region = parseS3Entry(text).region.trimmed().toStdString();
    return isLabel(region) ? region : std::string();
}

std::string withoutScheme(const std::string &site)
{
    const auto scheme = site.find("://");
    return scheme == std::string::npos ? site : site.substr(scheme + 3);
}

std::string withoutPort(const std::string &host)
{
    const auto bracket = host.find(']');
    const auto colon = host.find(':', bracket == std::string::npos ? 0 : bracket);
    return host.substr(0, colon);
}

} // namespace

std::string regionOfHost(const std::string &host)
{
    // "s3.REGION", "s3-REGION" or "s3.dualstack.REGION", at times behind a bucket, and the domain.
    const std::string name = lowerCase(withoutPort(withoutScheme(host)));
    if (!endsWith(name, providerDomain()))
        return {};
    std::string_view front =
        std::string_view(name).substr(0, name.size() - providerDomain().size());
    const auto dot = front.rfind('.');
    std::string_view label = front.substr(dot + 1);
    front = front.substr(0, dot == std::string_view::npos ? 0 : dot);
    if (endsWith(front, ".dualstack"))
        front.remove_suffix(10);
    if (startsWithNoCase(label, "s3-"))
        label.remove_prefix(3);
    else if (front != "s3" && !endsWith(front, ".s3"))
        return {};
    return isLabel(label) && label.find('-') == 2 ? std::string(label) : std::string();
}

S3Endpoint s3Endpoint(const std::string &site, const std::string &bucket, const std::string &region)
{
    S3Endpoint endpoint;
    endpoint.host = lowerCase(withoutScheme(site));
    const std::string name = withoutPort(endpoint.host);
    const auto scheme = site.find("://");
    if (scheme != std::string::npos)
        endpoint.scheme = lowerCase(site.substr(0, scheme));
    else
        endpoint.scheme = isLoopback(name) ? "http" : "https";
    const std::string defaultPort = endpoint.scheme == "https" ? ":443" : ":80";
    if (endsWith(endpoint.host, defaultPort))
        endpoint.host.resize(endpoint.host.size() - defaultPort.size());

    if (endpoint.host == kS3ServiceHost && region != kDefaultRegion)
        endpoint.host = "s3." + region + providerDomain();
    endpoint.bucketInHost =
        endsWith(name, providerDomain()) && bucket.size() >= 3 && isLabel(bucket);
    if (endpoint.bucketInHost)
        endpoint.host = bucket + "." + endpoint.host;
    return endpoint;
}

void tryRegionFirst(const std::string &site, const std::string &bucket, const std::string &region)
{
    S3Address address;
    address.site = site.empty() ? kS3ServiceHost : site;
    address.bucket = bucket;
    Lessons::shared().setRegion(address, isLabel(region) ? region : std::string());
}

std::string currentRegion(const S3Address &address)
{
    std::string region = Lessons::shared().region(address);
    if (region.empty())
        region = regionOfEntryFile(address.bucket);
    if (region.empty())
        region = regionOfHost(address.site);
    return region.empty() ? kDefaultRegion : region;
}

std::string knownRegion(const S3Address &address)
{
    const std::string learned = Lessons::shared().region(address);
    return learned.empty() ? regionOfHost(address.site) : learned;
}

S3Resource::S3Resource(const S3Address &address, std::string key, NameValues query)
    : m_address(address)
    , m_key(std::move(key))
    , m_query(std::move(query))
    , m_region(currentRegion(address))
{
}

HttpRequest S3Resource::request(const RequestOptions &options)
{
    if (const std::string learned = Lessons::shared().region(m_address); !learned.empty())
        m_region = learned;
    const std::int64_t clockOffset = Lessons::shared().clockOffset(m_address.site);

    const S3Endpoint endpoint = s3Endpoint(m_address.site, m_address.bucket, m_region);
    std::string path = "/";
    if (!endpoint.bucketInHost) {
        path += percentEncoded(m_address.bucket, false);
        if (!m_key.empty())
            path += '/';
    }
    path += percentEncoded(m_key, true);
    const std::string query = canonicalQuery(m_query);

    HttpRequest request;
    request.method = options.method;
    request.signedRegion = m_region;
    request.clockOffset = clockOffset;
    request.url =
        endpoint.scheme + "://" + endpoint.host + path + (query.empty() ? "" : "?") + query;
    if (!options.range.empty())
        request.headers.push_back("Range: " + options.range);
    addCondition(options, &request);
    if (!m_address.isSigned())
        return request;

    SigningInput input;
    input.time = std::time(nullptr) + static_cast<std::time_t>(clockOffset);
    input.method = options.method;
    input.path = path;
    input.query = query;
    input.headers = {{"host", endpoint.host},
                     {"x-amz-content-sha256", kUnsignedPayload},
                     {"x-amz-date", amzDate(input.time)}};
    input.payloadHash = kUnsignedPayload;
    input.accessKey = m_address.accessKey;
    input.secret = m_address.secret;
    input.region = m_region;
    for (std::size_t i = 1; i < input.headers.size(); ++i)
        request.headers.push_back(input.headers[i].first + ": " + input.headers[i].second);
    request.headers.push_back("Authorization: " + authorization(input));
    return request;
}

Lesson S3Resource::learn(const HttpAnswer &answer, const Patience &)
{
    return learnRegion(answer) || learnClock(answer) ? Lesson::Learned : Lesson::None;
}

bool S3Resource::learnRegion(const HttpAnswer &answer)
{
    if (answer.status != 301 && answer.status != 307 && answer.status != 400)
        return false;
    std::string region = answer.header("x-amz-bucket-region");
    if (region.empty()) {
        const S3ErrorDocument document = parseS3Error(answer.body);
        region = document.region.empty() ? regionOfHost(document.endpoint) : document.region;
    }
    if (!isLabel(region) || region == answer.signedRegion)
        return false;
    Lessons::shared().setRegion(m_address, region);
    return true;
}

bool S3Resource::learnClock(const HttpAnswer &answer)
{
    // The answer to a HEAD has no document that would name the reason, so the times decide.
    if (answer.status != 403 || !m_address.isSigned())
        return false;
    const std::string code = parseS3Error(answer.body).code;
    if (!code.empty() && code != "RequestTimeTooSkewed")
        return false;
    const std::time_t serverTime = curl_getdate(answer.header("date").c_str(), nullptr);
    if (serverTime == -1)
        return false;
    const std::int64_t offset = serverTime - std::time(nullptr);
    if (std::abs(offset - answer.clockOffset) < kToleratedSkewSeconds)
        return false;
    Lessons::shared().setClockOffset(m_address.site, offset);
    return true;
}

} // namespace hq
