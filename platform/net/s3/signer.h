// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Building S3 requests with Signature Version 4. curl's own signs by this computer's clock,
// whatever the server's is.
#pragma once

#include "base/s3address.h"
#include "net/query.h"
#include "net/resource.h"

#include <ctime>
#include <string>

namespace hq {

// The request for one object, bucket (empty key) or account (empty bucket too), sent to the region
// and, where the address has credentials, signed for it at the time.
HttpRequest s3Request(const S3Address &address, const std::string &key, const NameValues &query,
                      const RequestOptions &options, const std::string &region, std::time_t time);

} // namespace hq
