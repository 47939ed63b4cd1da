// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/s3address.h"
#include "base/text.h"
#include "credentials.h"
#include "guarded.h"
#include "hqutil.h"
#include "regioncache.h"

#include <string>
#include <string_view>

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

struct FolderAndName
{
    std::string_view folder;
    std::string_view name;
};

FolderAndName splitPath(std::string_view path)
{
    if (path.size() > 1 && hq::isAddressSeparator(path.back()))
        path.remove_suffix(1);
    const auto separator = path.find_last_of("/\\");
    if (separator == std::string_view::npos)
        return {{}, path};
    return {path.substr(0, separator), path.substr(separator + 1)};
}

struct AddressParts
{
    hq::S3Address s3;
    std::string path; // what folder and name are taken from
    std::string region;
};

AddressParts takeApart(std::string_view address)
{
    AddressParts parts;
    if (auto parsed = hq::S3Address::parse(address)) {
        parts.s3 = std::move(*parsed);
        parts.path = parts.s3.rawKey;
        parts.region = hq::knownRegion(parts.s3);
    } else if (!hq::isS3Address(address)) {
        const bool web = address.find("://") != std::string_view::npos;
        parts.path = web ? hq::webAddressWithoutCredentials(address) : std::string(address);
    }
    return parts;
}

} // namespace

void hqOSAwsParse(const char *address, char *bucket, char *folder, char *name, char *region,
                  char *key, char *secret, char *site)
{
    const AddressParts parts =
        hq::guarded(AddressParts(), [address] { return takeApart(address ? address : ""); });
    const FolderAndName split = splitPath(parts.path);
    put<256>(bucket, parts.s3.bucket);
    put<4096>(folder, split.folder);
    put<4096>(name, split.name);
    put<64>(region, parts.region);
    put<1512>(key, parts.s3.accessKey);
    put<1512>(secret, parts.s3.secret);
    put<1512>(site, parts.s3.site);
}
