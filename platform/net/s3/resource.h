// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/s3address.h"
#include "net/resource.h"
#include "net/s3/signer.h"

#include <string>

namespace hq {

// Requests for one object, bucket (empty key) or account (empty bucket too), signed with what is
// known of the bucket's region and the site's clock. What a response teaches is shared by the whole
// process.
class S3Resource : public Resource
{
public:
    S3Resource(const S3Address &address, std::string key, NameValues query = {});

    void setQuery(NameValues query) { m_query = std::move(query); }
    HttpRequest request(const RequestOptions &options) override;
    // Of a response to one of the requests above.
    Adjustment adjust(const HttpResponse &response, const Patience &patience) override;

private:
    bool adjustRegion(const HttpResponse &response, const std::string &signedRegion);
    bool adjustClock(const HttpResponse &response, std::int64_t usedOffset);

    S3Address m_address;
    std::string m_key;
    NameValues m_query;
    std::string m_region; // to sign for
};

} // namespace hq
