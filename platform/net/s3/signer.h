// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Building S3 requests with Signature Version 4, and the percent-encoding that it prescribes.
// curl's own signs by this computer's clock, whatever the server's is.
#pragma once

#include "base/s3address.h"
#include "net/resource.h"

#include <ctime>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hq {

using NameValues = std::vector<std::pair<std::string, std::string>>;

// Every byte but the unreserved characters (and "/" if `keepSlash`) becomes %XX.
std::string percentEncoded(std::string_view text, bool keepSlash);

// "name=value" joined by "&", both encoded, in byte order of the encoded names.
std::string canonicalQuery(const NameValues &query);

// The request for one object, bucket (empty key) or account (empty bucket too), sent to the region
// and, where the address has credentials, signed for it at the time.
HttpRequest s3Request(const S3Address &address, const std::string &key, const NameValues &query,
                      const RequestOptions &options, const std::string &region, std::time_t time);

} // namespace hq
