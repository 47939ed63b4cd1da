// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/resource.h"

#include "net/errordocument.h"
#include "net/failure.h"
#include "net/s3/endpoint.h"
#include "regioncache.h"

#include <cstdlib>
#include <ctime>

namespace hq {

namespace {

// What a request was signed with.
struct SigningContext : RequestContext
{
    std::string region;
    std::int64_t clockOffset = 0; // seconds

    std::string advice(const HttpResponse &response) const override
    {
        std::string told = response.header("x-amz-bucket-region");
        if (told.empty())
            told = parseS3Error(response.body).region;
        // A host that leads elsewhere all the same belongs to another region.
        const bool isElsewhere = response.status == 301 || response.status == 307;
        if (isHostLabel(told) && (told != region || isElsewhere))
            return "the bucket is in region " + told;
        return clockAdvice(response, clockOffset);
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

Adjustment S3Resource::adjust(const HttpResponse &response, const Patience &)
{
    const auto &context = static_cast<const SigningContext &>(*response.context);
    const bool isAdjusted =
        adjustRegion(response, context.region) || adjustClock(response, context.clockOffset);
    return isAdjusted ? Adjustment::Adjusted : Adjustment::None;
}

bool S3Resource::adjustRegion(const HttpResponse &response, const std::string &signedRegion)
{
    if (response.status != 301 && response.status != 307 && response.status != 400)
        return false;
    std::string region = response.header("x-amz-bucket-region");
    if (region.empty()) {
        const S3ErrorDocument document = parseS3Error(response.body);
        region = document.region.empty() ? regionOfHost(document.endpoint) : document.region;
    }
    if (!isHostLabel(region) || region == signedRegion)
        return false;
    setToldRegion(m_address.site, m_address.bucket, region);
    return true;
}

bool S3Resource::adjustClock(const HttpResponse &response, std::int64_t usedOffset)
{
    // The response to a HEAD has no document that would name the reason, so the times decide.
    if (response.status != 403 || !m_address.isSigned())
        return false;
    const std::string code = parseS3Error(response.body).code;
    if (!code.empty() && code != "RequestTimeTooSkewed")
        return false;
    const std::time_t serverTime = curl_getdate(response.header("date").c_str(), nullptr);
    if (serverTime == -1)
        return false;
    const std::int64_t offset = serverTime - std::time(nullptr);
    if (std::abs(offset - usedOffset) < kToleratedSkewSeconds)
        return false;
    setClockOffset(m_address.site, offset);
    return true;
}

} // namespace hq
