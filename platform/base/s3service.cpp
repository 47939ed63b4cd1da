// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "s3service.h"

#include "s3address.h"

namespace hq {

std::string usualS3Address(std::string_view address)
{
    std::string usual(address);
    if (const auto parts = S3Address::parse(address)) {
        const std::size_t site = parts->secretStart() + parts->secret.size() + 1;
        const std::size_t end = site + parts->site.size();
        if (usual.compare(end, 2, "//") == 0)
            usual.erase(end, 1);
    }
    return usual;
}

} // namespace hq
