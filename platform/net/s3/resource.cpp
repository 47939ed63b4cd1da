// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/resource.h"

#include "net/failure.h"
#include "net/s3/documents.h"
#include "net/s3/endpoint.h"
#include "net/s3/regioncache.h"

#include <cstdlib>
#include <ctime>

namespace hq {

namespace {

// What a request was signed with.
struct SigningContext : RequestContext
{
    std::string region;
    std::int64_t clockOffset = 0; // seconds

    std::string advice(const HttpAnswer &answer) const override
    {
        std::string told = answer.header("x-amz-bucket-region");
        if (told.empty())
            told = parseS3Error(answer.body).region;
        // A host that leads elsewhere all the same belongs to another region.
        const bool isElsewhere = answer.status == 301 || answer.status == 307;
        if (!told.empty() && (told != region || isElsewhere))
            return "the bucket is in region " + told;
        return clockAdvice(answer, clockOffset);
    }
};

} // namespace

S3Resource::S3Resource(const S3Address &address, std::string key, NameValues query)
    : m_address(address)
    , m_key(std::move(key))
    , m_query(std::move(query))
    , m_region(currentRegion(address))
{
}

HttpRequest S3Resource::request(const RequestOptions &options)
{
    if (const std::string told = toldRegion(m_address); !told.empty())
        m_region = told;
    auto context = std::make_shared<SigningContext>();
    context->region = m_region;
    context->clockOffset = clockOffset(m_address.site);
    const std::time_t now = std::time(nullptr) + static_cast<std::time_t>(context->clockOffset);
    HttpRequest request = s3Request(m_address, m_key, m_query, options, m_region, now);
    request.context = std::move(context);
    return request;
}

Lesson S3Resource::learn(const HttpAnswer &answer, const Patience &)
{
    const auto &context = static_cast<const SigningContext &>(*answer.context);
    const bool isLearned =
        learnRegion(answer, context.region) || learnClock(answer, context.clockOffset);
    return isLearned ? Lesson::Learned : Lesson::None;
}

bool S3Resource::learnRegion(const HttpAnswer &answer, const std::string &signedRegion)
{
    if (answer.status != 301 && answer.status != 307 && answer.status != 400)
        return false;
    std::string region = answer.header("x-amz-bucket-region");
    if (region.empty()) {
        const S3ErrorDocument document = parseS3Error(answer.body);
        region = document.region.empty() ? regionOfHost(document.endpoint) : document.region;
    }
    if (!isHostLabel(region) || region == signedRegion)
        return false;
    setToldRegion(m_address.site, m_address.bucket, region);
    return true;
}

bool S3Resource::learnClock(const HttpAnswer &answer, std::int64_t usedOffset)
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
    if (std::abs(offset - usedOffset) < kToleratedSkewSeconds)
        return false;
    setClockOffset(m_address.site, offset);
    return true;
}

} // namespace hq
