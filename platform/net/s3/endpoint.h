// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Where buckets are reached, as far as the texts tell.
#pragma once

#include <string>
#include <string_view>

namespace hq {

// The provider's first region, which its global host stands for.
constexpr const char *kDefaultRegion = "us-east-1";

struct S3Endpoint
{
    std::string scheme;
    std::string host; // with its port, unless that is the scheme's usual one
    bool bucketInHost = false;
};

// Loopback sites are spoken to over plain http, all others over https unless the site says
// otherwise. The provider's global host stands for the region's own one.
S3Endpoint s3Endpoint(const std::string &site, const std::string &bucket,
                      const std::string &region);

// Region named by a host of the provider such as "s3.eu-west-1.amazonaws.com"; empty when it names
// none, or is somebody else's.
std::string regionOfHost(const std::string &host);

// Whether the text can stand between two dots of a host's name, in lower case: all that is asked of
// a region's name.
bool isHostLabel(std::string_view text);

} // namespace hq
