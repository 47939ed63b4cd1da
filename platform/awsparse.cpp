// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/redaction.h"
#include "base/s3address.h"
#include "base/text.h"
#include "hqutil.h"
#include "regioncache.h"

#include <new>
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

// An address of the web without what can be a credential: user, password, query.
std::string withoutCredentials(std::string_view address)
{
    std::string text(address.substr(0, address.find_first_of("?#")));
    const auto scheme = text.find("://");
    if (scheme == std::string::npos)
        return text;
    const auto host = scheme + 3;
    const auto at = hq::userInformationEnd(std::string_view(text).substr(host));
    if (at != std::string::npos)
        text.erase(host, at + 1);
    return text;
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
        parts.path = web ? withoutCredentials(address) : std::string(address);
    }
    return parts;
}

} // namespace

void hqOSAwsParse(const char *address, char *bucket, char *folder, char *name, char *region,
                  char *key, char *secret, char *site)
{
    AddressParts parts;
    try {
        parts = takeApart(address ? address : "");
    } catch (const std::bad_alloc &) {
        parts = {}; // nothing is thrown through the C interface
    }
    const FolderAndName split = splitPath(parts.path);
    put<256>(bucket, parts.s3.bucket);
    put<4096>(folder, split.folder);
    put<4096>(name, split.name);
    put<64>(region, parts.region);
    put<1512>(key, parts.s3.accessKey);
    put<1512>(secret, parts.s3.secret);
    put<1512>(site, parts.s3.site);
}
