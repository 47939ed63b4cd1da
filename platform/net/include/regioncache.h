// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the process knows of the regions of buckets and of the clocks of sites. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace hq {

struct S3Address;

// The region to sign for: what an earlier response told, the bucket's entry file, the host name,
// us-east-1.
std::string currentRegion(const S3Address &address);

// The region as far as it is known without a look at the disk; empty when it is not.
std::string knownRegion(const S3Address &address);

// What a response told, empty while none did.
std::string toldRegion(const S3Address &address);
void setToldRegion(const std::string &site, const std::string &bucket, const std::string &region);

// Has requests for a bucket signed for `region` until a response names another one; what is no
// region's name stands for none.
void tryRegionFirst(const std::string &site, const std::string &bucket, const std::string &region);

// How far the clock of a site is ahead of this computer's, in seconds; 0 while no response told.
std::int64_t clockOffset(const std::string &site);
void setClockOffset(const std::string &site, std::int64_t seconds);

} // namespace hq
