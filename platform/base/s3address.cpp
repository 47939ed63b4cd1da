// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "s3address.h"

#include "text.h"

#include <algorithm>

namespace hq {

namespace {

constexpr std::string_view kScheme = "s3://";

bool isHostCharacter(char c)
{
    return isLetterOrDigit(c) || c == '.' || c == '-' || c == '_';
}

std::size_t schemeLength(std::string_view text)
{
    for (const std::string_view scheme : {"https://", "http://"}) {
        if (startsWithNoCase(text, scheme))
            return scheme.size();
    }
    return 0;
}

// Length of a host with its optional port at the start of `text`, 0 when there is none.
std::size_t hostLength(std::string_view text, bool anyName)
{
    std::size_t end = 0;
    if (!text.empty() && text[0] == '[') {
        constexpr std::size_t kMaxBracketed = 48; // bytes of an IPv6 address with its brackets
        end = text.substr(0, kMaxBracketed).find(']');
        if (end == std::string_view::npos || end < 3)
            return 0;
        const auto inside = text.substr(1, end - 1);
        if (inside.find_first_not_of("0123456789ABCDEFabcdef:.") != std::string_view::npos ||
            inside.find(':') == std::string_view::npos)
            return 0;
        ++end;
    } else {
        while (end < text.size() && isHostCharacter(text[end]))
            ++end;
        const auto name = text.substr(0, end);
        if (name.empty() || !isLetterOrDigit(name.front()) ||
            !(isLetterOrDigit(name.back()) || name.back() == '.'))
            return 0;
        const auto dot = name.find('.');
        const bool dotted = dot != std::string_view::npos && dot + 1 < name.size();
        if (!anyName && !dotted && !(name.size() == 9 && startsWithNoCase(name, "localhost")))
            return 0;
    }
    if (end < text.size() && text[end] == ':') {
        const auto port = std::min(text.find_first_not_of("0123456789", end + 1), text.size());
        if (port == end + 1 || port > end + 6)
            return 0;
        end = port;
    }
    return end;
}

// Position of the "@" that ends the secret, npos when there is none. The secret may itself hold
// "@": the one counts that a site with a dot (or localhost, or an address) follows; else the first.
std::size_t secretEnd(std::string_view address)
{
    const std::size_t colon = address.find(':', kScheme.size());
    if (colon == std::string_view::npos)
        return std::string_view::npos;
    const std::size_t first = address.find('@', colon);
    for (std::size_t at = first; at != std::string_view::npos; at = address.find('@', at + 1)) {
        if (siteLength(address.substr(at + 1), false) != 0)
            return at;
    }
    return first;
}

bool hasControlCharacter(std::string_view text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

} // namespace

bool isS3Address(std::string_view address)
{
    return startsWithNoCase(address, kScheme);
}

std::size_t siteLength(std::string_view text, bool anyName)
{
    const std::size_t scheme = schemeLength(text);
    const std::size_t host = hostLength(text.substr(scheme), anyName || scheme != 0);
    const std::size_t length = scheme + host;
    const bool ends = length == text.size() || isAddressSeparator(text[length]);
    return host != 0 && ends ? length : 0;
}

std::string S3Address::key() const
{
    std::string text = rawKey;
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

std::optional<S3Address> S3Address::parse(std::string_view address)
{
    if (!isS3Address(address))
        return std::nullopt;
    const std::size_t at = secretEnd(address);
    if (at == std::string_view::npos)
        return std::nullopt;
    const std::size_t colon = address.find(':', kScheme.size());

    S3Address result;
    result.accessKey = address.substr(kScheme.size(), colon - kScheme.size());
    result.secret = address.substr(colon + 1, at - colon - 1);
    std::string_view rest = address.substr(at + 1);
    const std::size_t site = siteLength(rest, true);
    if (site == 0 || hasControlCharacter(result.accessKey) || hasControlCharacter(result.secret))
        return std::nullopt;
    result.site = rest.substr(0, site);
    const std::size_t separators = rest.substr(site, 2) == "//" ? 2 : 1;
    rest.remove_prefix(std::min(site + separators, rest.size()));

    const std::size_t bucketEnd = std::min(rest.find_first_of("/\\"), rest.size());
    result.bucket = rest.substr(0, bucketEnd);
    rest.remove_prefix(std::min(bucketEnd + 1, rest.size()));
    result.rawKey = rest;
    return result;
}

} // namespace hq
