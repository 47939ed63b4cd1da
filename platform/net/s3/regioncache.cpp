// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "regioncache.h"

#include "base/configuration.h"
#include "base/s3address.h"
#include "entryfile.h"
#include "net/s3/endpoint.h"
#include "s3entry.h"
#include "s3service.h"

#include <map>
#include <mutex>
#include <utility>

namespace hq {

namespace {

// What responses told.
struct Told
{
    std::mutex mutex;
    std::map<std::pair<std::string, std::string>, std::string> regions; // by site and bucket
    std::map<std::string, std::int64_t> clockOffsets;                   // by site
};

Told &told()
{
    // Never destroyed: threads may still be at work when the process ends.
    static auto *const all = new Told;
    return *all;
}

template <typename Key, typename Value>
Value find(const std::map<Key, Value> &values, const Key &key)
{
    const std::lock_guard lock(told().mutex);
    const auto found = values.find(key);
    return found == values.end() ? Value() : found->second;
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
    return isHostLabel(region) ? region : std::string();
}

} // namespace

std::string currentRegion(const S3Address &address)
{
    std::string region = toldRegion(address);
    if (region.empty())
        region = regionOfEntryFile(address.bucket);
    if (region.empty())
        region = regionOfHost(address.site);
    return region.empty() ? kDefaultRegion : region;
}

std::string knownRegion(const S3Address &address)
{
    const std::string region = toldRegion(address);
    return region.empty() ? regionOfHost(address.site) : region;
}

std::string toldRegion(const S3Address &address)
{
    return find(told().regions, {address.site, address.bucket});
}

void setToldRegion(const std::string &site, const std::string &bucket, const std::string &region)
{
    const std::lock_guard lock(told().mutex);
    told().regions[{site, bucket}] = region;
}

void tryRegionFirst(const std::string &site, const std::string &bucket, const std::string &region)
{
    setToldRegion(site.empty() ? kS3ServiceHost : site, bucket,
                  isHostLabel(region) ? region : std::string());
}

std::int64_t clockOffset(const std::string &site)
{
    return find(told().clockOffsets, site);
}

void setClockOffset(const std::string &site, std::int64_t seconds)
{
    const std::lock_guard lock(told().mutex);
    told().clockOffsets[site] = seconds;
}

} // namespace hq
