// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/s3address.h"
#include "base/text.h"
#include "credentials.h"
#include "guarded.h"
#include "hqutil.h"
#include "regioncache.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace {

// Copies what fits, never half a character.
template <std::size_t size>
void put(char *buffer, std::string_view text)
{
    if (!buffer)
        return;
    const std::string_view fitting = hq::cutAt(size - 1, text);
    fitting.copy(buffer, fitting.size());
    buffer[fitting.size()] = '\0';
}

struct AddressParts
{
    hq::S3Address s3;
    std::string folder;
    std::string name;
    std::string region;
};

AddressParts takeApart(std::string_view address)
{
    AddressParts parts;
    std::string path;
    if (auto parsed = hq::S3Address::parse(address)) {
        parts.s3 = std::move(*parsed);
        parts.region = hq::knownRegion(parts.s3);
        path = parts.s3.rawKey;
    } else if (!hq::isS3Address(address)) {
        const bool isWeb = address.find("://") != std::string_view::npos;
        path = isWeb ? hq::webAddressWithoutCredentials(address) : std::string(address);
    }
    if (path.size() > 1 && hq::isAddressSeparator(path.back()))
        path.pop_back();
    const std::size_t name = path.find_last_of("/\\") + 1;
    parts.name = path.substr(name);
    parts.folder = path.substr(0, std::max<std::size_t>(name, 1) - 1);
    return parts;
}

} // namespace

void hqOSAwsParse(const char *address, char *bucket, char *folder, char *name, char *region,
                  char *key, char *secret, char *site)
{
    const AddressParts parts =
        hq::guarded(AddressParts(), [address] { return takeApart(address ? address : ""); });
    put<256>(bucket, parts.s3.bucket);
    put<4096>(folder, parts.folder);
    put<4096>(name, parts.name);
    put<64>(region, parts.region);
    put<1512>(key, parts.s3.accessKey);
    put<1512>(secret, parts.s3.secret);
    put<1512>(site, parts.s3.site);
}
