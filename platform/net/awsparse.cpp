// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/redaction.h"
#include "hqutil.h"
#include "net/s3address.h"
#include "net/s3resource.h"
#include "net/text.h"

#include <string>
#include <string_view>

namespace {

// Copies what fits, never half a character.
template <std::size_t size>
void put(char *buffer, std::string_view text)
{
    if (!buffer)
        return;
    std::size_t length = text.size();
    if (length > size - 1) {
        length = size - 1;
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80)
            --length;
    }
    text.copy(buffer, length);
    buffer[length] = '\0';
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

} // namespace

void hqOSAwsParse(const char *address, char *bucket, char *folder, char *name, char *region,
                  char *key, char *secret, char *site)
{
    const std::string_view text = address ? address : "";
    hq::S3Address parts;
    std::string path;
    std::string bucketRegion;
    if (auto parsed = hq::S3Address::parse(text)) {
        parts = std::move(*parsed);
        path = parts.rawKey;
        bucketRegion = hq::knownRegion(parts);
    } else if (!hq::isS3Address(text)) {
        const bool web = text.find("://") != std::string_view::npos;
        path = web ? withoutCredentials(text) : std::string(text);
    }
    const FolderAndName split = splitPath(path);
    put<256>(bucket, parts.bucket);
    put<4096>(folder, split.folder);
    put<4096>(name, split.name);
    put<64>(region, bucketRegion);
    put<1512>(key, parts.accessKey);
    put<1512>(secret, parts.secret);
    put<1512>(site, parts.site);
}
