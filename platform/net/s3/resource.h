// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/s3address.h"
#include "net/resource.h"
#include "net/s3/signer.h"

#include <optional>
#include <string>

namespace hq {

// Where a bucket is reached: scheme, host with port, and whether the host carries the bucket.
struct S3Endpoint
{
    std::string scheme;
    std::string host;
    bool bucketInHost = false;
};

// Loopback sites are spoken to over plain http, all others over https unless the site says
// otherwise. The provider's global host stands for the region's own one.
S3Endpoint s3Endpoint(const std::string &site, const std::string &bucket,
                      const std::string &region);

// Region named by a host of the provider such as "s3.eu-west-1.amazonaws.com"; empty when it names
// none, or is somebody else's.
std::string regionOfHost(const std::string &host);

// The region to sign for: what an earlier answer taught, the bucket's entry file, the host name,
// us-east-1.
std::string currentRegion(const S3Address &address);

// The region as far as it is known without a look at the disk; empty when it is not.
std::string knownRegion(const S3Address &address);

// Requests for one object, bucket (empty key) or account (empty bucket too), signed with what is
// known of the site's region and clock. What an answer teaches is shared by the whole process.
class S3Resource : public Resource
{
public:
    S3Resource(const S3Address &address, std::string key, NameValues query = {});

    void setQuery(NameValues query) { m_query = std::move(query); }
    HttpRequest request(const RequestOptions &options) override;
    Lesson learn(const HttpAnswer &answer, const Patience &patience) override;

private:
    bool learnRegion(const HttpAnswer &answer);
    bool learnClock(const HttpAnswer &answer);

    S3Address m_address;
    std::string m_key;
    NameValues m_query;
    std::string m_region; // to sign for
};

} // namespace hq
